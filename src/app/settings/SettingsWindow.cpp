#include "SettingsWindow.h"

#include <QEvent>

#include <algorithm>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QListWidget>
#include <QScreen>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "AppStrings.h"
#include "ConnectionPage.h"
#include "GeneralPage.h"
#include "VoicePage.h"

namespace quillvane {
namespace {

// The sidebar's width when there is room; a narrow window narrows it down to the longest page
// title before the page has to give way.
constexpr int sidebarWidth = 210;
constexpr int logoSize = 64;
constexpr int defaultWidth = 760;
constexpr int defaultHeight = 660;

// Light cards on a slightly darker page, a sidebar in the window colour; every colour comes from
// the palette so that dark themes stay readable.
const char* const windowStyle = R"(
QWidget#sidebar { background: palette(window); }
QWidget#pageBody { background: palette(alternate-base); }
QFrame#card { background: palette(base); border: 1px solid palette(midlight); border-radius: 8px; }
QLabel#appName { font-size: 17px; font-weight: 600; }
QLabel#pageTitle { font-size: 20px; font-weight: 600; }
QLabel#cardTitle { font-size: 14px; font-weight: 600; }
QLabel#secondary, QLabel#tagline { color: palette(placeholder-text); }
QLabel#warning { color: #a15c00; }
QLabel#issue, QLabel[tone="issue"] { color: #b3261e; }
QLabel[tone="ready"] { color: #1e7d32; }
QLabel#infoSign { color: palette(placeholder-text); }
QPushButton { padding: 5px 14px; border: 1px solid palette(mid); border-radius: 6px;
              background: palette(button); min-height: 18px; }
QPushButton:hover { background: palette(light); }
QPushButton:pressed { background: palette(midlight); }
QPushButton:disabled { color: palette(placeholder-text); border-color: palette(midlight); }
QPushButton:focus { border-color: palette(highlight); }
QLabel#badge { border-radius: 9px; padding: 2px 10px; min-height: 16px; background: #f3e3c3;
               color: #6b4400; }
QLabel#badge[ready="true"] { background: #d4edda; color: #1e5e2a; }
QListWidget#pageList { border: none; background: transparent; font-size: 14px; outline: 0; }
QListWidget#pageList::item { padding: 7px 10px; border-radius: 6px; }
QListWidget#pageList::item:selected { background: palette(highlight); color: palette(highlighted-text); }
)";

} // namespace

SettingsWindow::SettingsWindow(HostModel& host, AppStrings& strings, LoginItemSettings& loginItems,
                               QWidget* parent)
    : QMainWindow(parent) {
    setObjectName(QStringLiteral("settingsWindow"));
    setStyleSheet(QString::fromUtf8(windowStyle));

    auto* sidebar = new QWidget;
    sidebar->setObjectName(QStringLiteral("sidebar"));
    sidebar->setMaximumWidth(sidebarWidth);
    m_logo = new QLabel(sidebar);
    m_logo->setFixedSize(logoSize, logoSize);
    auto* name = new QLabel(QStringLiteral("Quillvane"), sidebar);
    name->setObjectName(QStringLiteral("appName"));
    m_tagline = new QLabel(sidebar);
    m_tagline->setObjectName(QStringLiteral("tagline"));
    m_tagline->setWordWrap(true);
    m_pages = new QListWidget(sidebar);
    m_pages->setObjectName(QStringLiteral("pageList"));
    m_pages->setFrameShape(QFrame::NoFrame);
    m_pages->setFocusPolicy(Qt::StrongFocus);
    m_pages->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto* sidebarLayout = new QVBoxLayout(sidebar);
    sidebarLayout->setContentsMargins(16, 24, 12, 16);
    sidebarLayout->setSpacing(4);
    sidebarLayout->addWidget(m_logo, 0, Qt::AlignLeft);
    sidebarLayout->addSpacing(8);
    sidebarLayout->addWidget(name);
    sidebarLayout->addWidget(m_tagline);
    sidebarLayout->addSpacing(18);
    sidebarLayout->addWidget(m_pages, 1);

    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setObjectName(QStringLiteral("divider"));

    const SettingsPage::HostText hostText = [&strings](const QString& text) {
        return strings.issue(text);
    };
    m_stack = new QStackedWidget;
    m_connection = new ConnectionPage(host, hostText, m_stack);
    m_voice = new VoicePage(host, hostText, m_stack);
    m_general = new GeneralPage(strings, loginItems, hostText, m_stack);
    for (SettingsPage* page : {static_cast<SettingsPage*>(m_connection),
                               static_cast<SettingsPage*>(m_voice),
                               static_cast<SettingsPage*>(m_general)}) {
        auto* item = new QListWidgetItem(page->title(), m_pages);
        connect(page, &SettingsPage::titleChanged, this, [this, item](const QString& title) {
            item->setText(title);
            fitPageList();
        });
        m_stack->addWidget(page);
    }

    auto* central = new QWidget(this);
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(sidebar);
    layout->addWidget(divider);
    layout->addWidget(m_stack, 1);
    setCentralWidget(central);

    // Follows the selection rather than the current row: assistive technology selects an item
    // (its "Toggle" action) without moving the current row.
    connect(m_pages, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem*> selected = m_pages->selectedItems();
        if (!selected.isEmpty())
            m_stack->setCurrentIndex(m_pages->row(selected.first()));
    });
    m_pages->setCurrentRow(0);
    auto* close = new QShortcut(QKeySequence::Close, this);
    connect(close, &QShortcut::activated, this, &QWidget::close);
    retranslate();
    fitPageList();
    showLogo();
}

void SettingsWindow::present() {
    if (!isVisible() && screen()) {
        // The default size, within a small screen.
        const QSize room = screen()->availableGeometry().size();
        resize(std::min(defaultWidth, room.width()), std::min(defaultHeight, room.height()));
    }
    m_connection->hidePairing();
    m_connection->checkPermission();
    m_general->refresh();
    if (isMinimized())
        setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void SettingsWindow::setBrowserAccess(BrowserAccess* browsers) { m_connection->setBrowserAccess(browsers); }

void SettingsWindow::setInputBackend(const InputBackend* backend) {
    m_connection->setInputBackend(backend);
}

void SettingsWindow::setNoTrayHint(QWidget* hint) {
    setMenuWidget(hint);
    m_general->setInTray(hint == nullptr);
}

void SettingsWindow::fitPageList() {
    // The narrowed sidebar still shows every page's whole title.
    m_pages->setMinimumWidth(m_pages->sizeHintForColumn(0) + 2 * m_pages->frameWidth());
}

bool SettingsWindow::event(QEvent* event) {
    if (event->type() == QEvent::ScreenChangeInternal)
        showLogo();
    return QMainWindow::event(event);
}

void SettingsWindow::showLogo() {
    // Scaled from the large image once per device pixel ratio, so that it stays sharp at 2×.
    const qreal ratio = devicePixelRatioF();
    QPixmap logo = QPixmap(QStringLiteral(":/settings/logo.png"))
                       .scaled(QSize(logoSize, logoSize) * ratio, Qt::KeepAspectRatio,
                               Qt::SmoothTransformation);
    logo.setDevicePixelRatio(ratio);
    m_logo->setPixmap(logo);
}

void SettingsWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QMainWindow::changeEvent(event);
}

void SettingsWindow::retranslate() {
    setWindowTitle(tr("Quillvane"));
    m_tagline->setText(tr("你的电脑，触手可及"));
}

} // namespace quillvane
