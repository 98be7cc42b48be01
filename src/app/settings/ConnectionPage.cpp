#include "ConnectionPage.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

#include "BrowserCard.h"
#include "Card.h"
#include "HostModel.h"
#include "InputBackend.h"
#include "QrCodeView.h"

namespace quillvane {
namespace {

// Room kept below the code when it is fitted into the page's visible height.
constexpr int codeMargin = 12;

// How the backends are known to the people who run these desktops.
QString backendTitle(std::string_view name) {
    if (name == "x11")
        return QStringLiteral("X11 (XTest)");
    if (name == "mutter")
        return QStringLiteral("GNOME (Mutter)");
    if (name == "kwin")
        return QStringLiteral("KDE Plasma (KWin)");
    return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
}

QLabel* wrappingLabel(QWidget* parent, const char* objectName = nullptr) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    if (objectName)
        label->setObjectName(QString::fromLatin1(objectName));
    return label;
}

} // namespace

ConnectionPage::ConnectionPage(HostModel& host, HostText hostText, QWidget* parent)
    : SettingsPage(std::move(hostText), parent), m_host(host) {
    m_connectionCard = addCard();
    auto* content = m_connectionCard->content();
    m_status = new QLabel(m_connectionCard);
    m_status->setObjectName(QStringLiteral("badge"));
    auto* statusRow = new QHBoxLayout;
    statusRow->addWidget(m_status);
    statusRow->addStretch(1);
    content->addLayout(statusRow);
    m_instruction = wrappingLabel(m_connectionCard);
    content->addWidget(m_instruction);

    m_code = new QrCodeView(m_connectionCard);
    content->addWidget(m_code, 0, Qt::AlignHCenter);
    m_warning = wrappingLabel(m_connectionCard, "warning");
    content->addWidget(m_warning);

    m_show = new QPushButton(m_connectionCard);
    m_copy = new QPushButton(m_connectionCard);
    m_revoke = new QPushButton(m_connectionCard);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(m_show);
    buttons->addWidget(m_copy);
    buttons->addStretch(1);
    content->addLayout(buttons);
    // On a line of its own, so that the card stays narrow enough for a small screen.
    content->addWidget(m_revoke, 0, Qt::AlignLeft);
    m_keyNotice = wrappingLabel(m_connectionCard, "secondary");
    content->addWidget(m_keyNotice);
    m_issue = wrappingLabel(m_connectionCard, "issue");
    m_issue->setTextInteractionFlags(Qt::TextSelectableByMouse);
    content->addWidget(m_issue);

    // Between the phone's card and the permission card: both are ways to connect. Filled and
    // shown once the program has its browser endpoint.
    m_browserSlot = addCard();
    m_browserSlot->hide();

    m_permissionCard = addCard();
    m_permission = wrappingLabel(m_permissionCard);
    // The explanation may carry a command to run; it must be copyable.
    m_permission->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_check = new QPushButton(m_permissionCard);
    m_permissionCard->content()->addWidget(m_permission);
    m_permissionCard->content()->addWidget(m_check, 0, Qt::AlignLeft);

    connect(m_show, &QPushButton::clicked, this, &ConnectionPage::showPairing);
    connect(m_copy, &QPushButton::clicked, this, [this] {
        QClipboard* clipboard = QGuiApplication::clipboard();
        clipboard->clear();
        clipboard->setText(m_host.pairingLink());
    });
    connect(m_revoke, &QPushButton::clicked, this, &ConnectionPage::confirmRevoke);
    connect(m_check, &QPushButton::clicked, this, &ConnectionPage::checkPermission);
    connect(&m_host, &HostModel::statusChanged, this, &ConnectionPage::updateStatus);
    connect(&m_host, &HostModel::connectedChanged, this, &ConnectionPage::updateStatus);
    connect(&m_host, &HostModel::issueChanged, this, &ConnectionPage::updateStatus);
    connect(&m_host, &HostModel::profileChanged, this, &ConnectionPage::updatePairing);

    hidePairing();
    retranslate();
}

void ConnectionPage::retranslate() {
    setHeading(tr("连接与控制"), tr("配对你的手机，并开启鼠标与键盘控制。"));
    m_connectionCard->setTitle(tr("连接手机"));
    m_instruction->setText(tr("让手机和电脑连接同一 Wi-Fi，在手机上扫描配对码。"));
    m_warning->setText(tr("配对码包含控制这台电脑的密钥，请只在自己的手机上扫描。"));
    setControlText(m_show, tr("显示配对码"));
    setControlText(m_copy, tr("复制配对链接"));
    setControlText(m_revoke, tr("撤销配对并换码"));
    m_keyNotice->setText(tr("没有可用的系统密钥环：配对密钥保存在只有你能读取的文件中，未受密钥环保护。"));
    m_permissionCard->setTitle(tr("鼠标与键盘权限"));
    m_permissionCard->setInfo(tr("允许 Quillvane 将手机上的手势与按键发送到这台电脑。"));
    setControlText(m_check, tr("检查授权状态"));
    if (m_browserCard)
        m_browserCard->retranslate();
    updateStatus();
    updatePairing();
    checkPermission();
}

void ConnectionPage::setInputBackend(const InputBackend* backend) {
    m_backend = backend;
    checkPermission();
}

void ConnectionPage::setBrowserAccess(BrowserAccess* browsers) {
    if (m_browserCard || !browsers)
        return;
    m_browserCard = new BrowserCard(*browsers, m_browserSlot);
    m_browserSlot->show();
}

void ConnectionPage::hidePairing() {
    if (m_browserCard)
        m_browserCard->hideCode();
    m_showing = false;
    updatePairing();
}

void ConnectionPage::showPairing() {
    m_showing = true;
    updatePairing();
}

void ConnectionPage::resizeEvent(QResizeEvent* event) {
    SettingsPage::resizeEvent(event);
    fitCodeLater();
}

bool ConnectionPage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        fitCodeLater();
    return SettingsPage::eventFilter(watched, event);
}

void ConnectionPage::fitCodeLater() {
    // Once the layout has placed the code: filters see a layout change before it is applied.
    if (m_fitPending)
        return;
    m_fitPending = true;
    QTimer::singleShot(0, this, [this] {
        m_fitPending = false;
        // A low window gets a smaller code rather than one that has to be scrolled to. Nothing
        // above the code depends on its size, so this settles at once.
        const int top = m_code->mapTo(widget(), QPoint(0, 0)).y();
        m_code->setMaximumSide(viewport()->height() - top - codeMargin);
    });
}

void ConnectionPage::checkPermission() {
    if (!m_backend) {
        m_permission->clear();
        m_permission->hide();
        m_check->hide();
        return;
    }
    m_permission->show();
    m_check->show();
    if (m_backend->canPost()) {
        m_permission->setProperty("tone", QStringLiteral("ready"));
        m_permission->setText(
            tr("已授权：通过 %1 发送鼠标与键盘事件。").arg(backendTitle(m_backend->name())));
    } else {
        m_permission->setProperty("tone", QStringLiteral("issue"));
        m_permission->setText(tr("尚未授权：") +
                              hostText(QString::fromStdString(m_backend->unavailableReason())));
    }
    m_permission->style()->unpolish(m_permission);
    m_permission->style()->polish(m_permission);
}

void ConnectionPage::confirmRevoke() {
    if (m_confirmation)
        return m_confirmation->open();
    m_confirmation = new QMessageBox(QMessageBox::Warning, tr("撤销现有配对？"),
                                     tr("撤销现有配对？"), QMessageBox::NoButton, this);
    m_confirmation->setInformativeText(tr("已连接的手机会断开，需要重新扫码配对。"));
    auto* revoke = m_confirmation->addButton(tr("撤销并生成新码"), QMessageBox::DestructiveRole);
    auto* cancel = m_confirmation->addButton(tr("取消"), QMessageBox::RejectRole);
    revoke->setAccessibleName(revoke->text());
    cancel->setAccessibleName(cancel->text());
    m_confirmation->setDefaultButton(cancel);
    connect(m_confirmation, &QMessageBox::finished, this, [this, revoke] {
        const bool confirmed = m_confirmation->clickedButton() == revoke;
        m_confirmation->deleteLater();
        m_confirmation = nullptr;
        if (confirmed)
            m_host.rotatePairing();
    });
    m_confirmation->open();
}

void ConnectionPage::updateStatus() {
    m_status->setText(hostText(m_host.status()));
    m_status->setAccessibleName(m_status->text());
    m_status->setProperty("ready", m_host.connected());
    m_status->style()->unpolish(m_status);
    m_status->style()->polish(m_status);
    m_issue->setText(m_host.hasIssue() ? hostText(m_host.issue()) : QString());
    m_issue->setVisible(m_host.hasIssue());
}

void ConnectionPage::updatePairing() {
    const QString link = m_host.pairingLink();
    m_code->setLink(m_showing ? link : QString());
    m_code->setVisible(m_showing && !link.isEmpty());
    m_warning->setVisible(m_showing);
    m_show->setVisible(!m_showing);
    m_copy->setEnabled(!link.isEmpty());
    m_revoke->setEnabled(m_host.profile().has_value());
    m_keyNotice->setVisible(m_host.profile().has_value() && !m_host.keyProtected());
}

} // namespace quillvane
