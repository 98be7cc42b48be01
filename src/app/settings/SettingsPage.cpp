#include "SettingsPage.h"

#include <QAbstractButton>
#include <QEvent>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

#include <utility>

#include "Card.h"

namespace quillvane {

SettingsPage::SettingsPage(HostText hostText, QWidget* parent)
    : QScrollArea(parent), m_hostText(std::move(hostText)) {
    setObjectName(QStringLiteral("page"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto* body = new QWidget(this);
    body->setObjectName(QStringLiteral("pageBody"));
    m_title = new QLabel(body);
    m_title->setObjectName(QStringLiteral("pageTitle"));
    m_subtitle = new QLabel(body);
    m_subtitle->setObjectName(QStringLiteral("secondary"));
    m_subtitle->setWordWrap(true);

    m_cards = new QVBoxLayout(body);
    m_cards->setContentsMargins(24, 22, 24, 24);
    m_cards->setSpacing(14);
    m_cards->addWidget(m_title);
    m_cards->addSpacing(-10);
    m_cards->addWidget(m_subtitle);
    m_cards->addSpacing(2);
    m_cards->addStretch(1);
    setWidget(body);
    body->installEventFilter(this);
}

QSize SettingsPage::minimumSizeHint() const {
    const QSize content = widget()->minimumSizeHint();
    return {content.width() + verticalScrollBar()->sizeHint().width(),
            QScrollArea::minimumSizeHint().height()};
}

bool SettingsPage::eventFilter(QObject* watched, QEvent* event) {
    // The body's layout changed (new texts): the page's own minimum follows it.
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}

void SettingsPage::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QScrollArea::changeEvent(event);
}

QString SettingsPage::title() const {
    return m_title->text();
}

void SettingsPage::setHeading(const QString& title, const QString& subtitle) {
    m_title->setText(title);
    m_subtitle->setText(subtitle);
    Q_EMIT titleChanged(title);
}

void SettingsPage::setControlText(QAbstractButton* control, const QString& text) {
    control->setText(text);
    control->setAccessibleName(text);
}

Card* SettingsPage::addCard() {
    auto* card = new Card(widget());
    // Before the stretch, which keeps the cards at the top of a tall window.
    m_cards->insertWidget(m_cards->count() - 1, card);
    return card;
}

} // namespace quillvane
