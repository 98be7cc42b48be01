#include "BrowserCard.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "BrowserAccess.h"
#include "Card.h"
#include "QrCodeView.h"

namespace quillvane {

BrowserCard::BrowserCard(BrowserAccess& browsers, Card* card) : QWidget(card), m_browsers(browsers), m_card(card) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    auto* addressRow = new QHBoxLayout;
    m_addressLabel = new QLabel(this);
    m_address = new QComboBox(this);
    // Addresses run long (IPv6); the list shows them whole, the closed box may elide them, so that
    // the window stays narrow enough for a small screen.
    m_address->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_address->setMinimumContentsLength(16);
    m_addressLabel->setBuddy(m_address);
    addressRow->addWidget(m_addressLabel);
    addressRow->addWidget(m_address, 1);
    layout->addLayout(addressRow);

    m_code = new QrCodeView(this);
    layout->addWidget(m_code, 0, Qt::AlignHCenter);
    m_link = new QLabel(this);
    m_link->setObjectName(QStringLiteral("secondary"));
    m_link->setWordWrap(true);
    m_link->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_link);
    m_note = new QLabel(this);
    m_note->setObjectName(QStringLiteral("secondary"));
    m_note->setWordWrap(true);
    layout->addWidget(m_note);
    m_show = new QPushButton(this);
    layout->addWidget(m_show, 0, Qt::AlignLeft);

    m_listTitle = new QLabel(this);
    layout->addWidget(m_listTitle);
    m_list = new QVBoxLayout;
    m_list->setSpacing(4);
    layout->addLayout(m_list);
    m_empty = new QLabel(this);
    m_empty->setObjectName(QStringLiteral("secondary"));
    layout->addWidget(m_empty);
    card->content()->addWidget(this);

    connect(m_show, &QPushButton::clicked, this, &BrowserCard::showCode);
    // Another address means another link; the shown one would point elsewhere.
    connect(m_address, &QComboBox::currentIndexChanged, this, [this] {
        if (!m_code->link().isEmpty())
            showCode();
    });
    connect(&m_browsers, &BrowserAccess::browsersChanged, this, &BrowserCard::updateBrowsers);
    hideCode();
    retranslate();
}

void BrowserCard::retranslate() {
    m_card->setTitle(tr("用手机浏览器控制"));
    m_card->setInfo(tr("在手机浏览器中扫码打开控制页，无需安装应用。"));
    m_addressLabel->setText(tr("地址"));
    m_show->setText(tr("显示浏览器码"));
    m_show->setAccessibleName(m_show->text());
    m_note->setText(tr("此码五分钟内有效，只能使用一次。浏览器首次打开时会提示证书不受信任，这是这台电脑自己的证书，可以继续访问。"));
    m_listTitle->setText(tr("已配对的浏览器"));
    m_empty->setText(tr("还没有配对的浏览器。"));
    updateBrowsers();
}

void BrowserCard::hideCode() {
    m_code->setLink({});
    m_code->hide();
    m_link->hide();
    m_note->hide();
    m_show->show();
    updateAddresses();
}

void BrowserCard::showCode() {
    updateAddresses();
    const QString link = m_browsers.pairingLink(QHostAddress(m_address->currentData().toString()));
    if (link.isEmpty())
        return;
    m_code->setLink(link);
    m_code->show();
    m_link->setText(link);
    m_link->show();
    m_note->show();
    m_show->hide();
}

void BrowserCard::updateAddresses() {
    const QString current = m_address->currentData().toString();
    QSignalBlocker blocker(m_address);
    m_address->clear();
    for (const auto& address : BrowserAccess::lanAddresses())
        m_address->addItem(address.toString(), address.toString());
    m_address->setCurrentIndex(std::max(0, m_address->findData(current)));
    // One address leaves nothing to choose.
    m_addressLabel->setVisible(m_address->count() > 1);
    m_address->setVisible(m_address->count() > 1);
}

void BrowserCard::updateBrowsers() {
    while (QLayoutItem* item = m_list->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const QLocale locale;
    for (const auto& browser : m_browsers.browsers()) {
        auto* row = new QWidget(this);
        auto* rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        auto* name = new QLabel(browser.name, row);
        auto* seen = new QLabel(tr("上次使用 %1").arg(locale.toString(browser.lastSeen.toLocalTime(), QLocale::ShortFormat)), row);
        seen->setObjectName(QStringLiteral("secondary"));
        auto* revoke = new QPushButton(tr("撤销"), row);
        revoke->setAccessibleName(tr("撤销 %1").arg(browser.name));
        rowLayout->addWidget(name);
        rowLayout->addWidget(seen, 1);
        rowLayout->addWidget(revoke);
        connect(revoke, &QPushButton::clicked, this, [this, id = browser.id] { m_browsers.revoke(id); });
        m_list->addWidget(row);
    }
    m_listTitle->setVisible(!m_browsers.browsers().isEmpty());
    m_empty->setVisible(m_browsers.browsers().isEmpty());
}

} // namespace quillvane
