#include "GeneralPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QVBoxLayout>

#include <utility>

#include "AppStrings.h"
#include "Card.h"
#include "LoginItemSettings.h"

namespace quillvane {

GeneralPage::GeneralPage(AppStrings& strings, LoginItemSettings& loginItems, HostText hostText,
                         QWidget* parent)
    : SettingsPage(std::move(hostText), parent), m_strings(strings), m_loginItems(loginItems) {
    m_languageCard = addCard();
    m_language = new QComboBox(m_languageCard);
    m_language->setMinimumWidth(180);
    for (const AppLanguage language : kAllAppLanguages)
        m_language->addItem(QString(), static_cast<int>(language));
    m_languageCard->content()->addWidget(m_language, 0, Qt::AlignLeft);

    m_loginCard = addCard();
    m_startAtLogin = new QCheckBox(m_loginCard);
    m_loginIssue = new QLabel(m_loginCard);
    m_loginIssue->setObjectName(QStringLiteral("issue"));
    m_loginIssue->setWordWrap(true);
    m_loginIssue->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_loginCard->content()->addWidget(m_startAtLogin);
    m_loginCard->content()->addWidget(m_loginIssue);

    m_aboutCard = addCard();
    m_note = new QLabel(m_aboutCard);
    m_note->setWordWrap(true);
    m_version = new QLabel(m_aboutCard);
    m_version->setObjectName(QStringLiteral("secondary"));
    m_version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_aboutCard->content()->addWidget(m_note);
    m_aboutCard->content()->addWidget(m_version);

    connect(m_language, &QComboBox::activated, this, [this](int index) {
        if (!m_updating && index >= 0)
            m_strings.setLanguage(static_cast<AppLanguage>(m_language->itemData(index).toInt()));
    });
    connect(m_startAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_updating)
            m_loginItems.setEnabled(on);
    });
    connect(&m_strings, &AppStrings::changed, this, &GeneralPage::updateLanguage);
    connect(&m_loginItems, &LoginItemSettings::changed, this, &GeneralPage::updateLoginItem);
    retranslate();
}

void GeneralPage::retranslate() {
    setHeading(tr("通用"), tr("设置 Quillvane 的语言和启动方式。"));
    m_languageCard->setTitle(tr("语言"));
    m_loginCard->setTitle(tr("启动"));
    m_loginCard->setInfo(tr("登录电脑后自动启动 Quillvane，在菜单栏等待手机连接。"));
    setControlText(m_startAtLogin, tr("开机自动启动"));
    m_aboutCard->setTitle(tr("关于"));
    m_note->setText(tr("关闭设置窗口后，Quillvane 会继续在菜单栏运行。"));
    m_version->setText(tr("版本 %@").replace(QStringLiteral("%@"), QStringLiteral(QUILLVANE_VERSION)));
    updateLanguage();
    updateLoginItem();
}

void GeneralPage::refresh() {
    m_loginItems.refresh();
}

void GeneralPage::setInTray(bool inTray) {
    m_note->setVisible(inTray);
}

void GeneralPage::updateLanguage() {
    m_updating = true;
    // A language's own name reads the same in every interface language.
    const QString names[] = {tr("跟随系统"), QStringLiteral("简体中文"), QStringLiteral("English")};
    for (int i = 0; i < m_language->count(); ++i)
        m_language->setItemText(i, names[m_language->itemData(i).toInt()]);
    m_language->setCurrentIndex(m_language->findData(static_cast<int>(m_strings.language())));
    m_language->setAccessibleName(m_language->currentText());
    m_updating = false;
}

void GeneralPage::updateLoginItem() {
    m_updating = true;
    m_startAtLogin->setChecked(m_loginItems.isOn());
    m_updating = false;
    // The service's error text comes untranslated from below the interface.
    m_loginIssue->setText(hostText(m_loginItems.issue()));
    m_loginIssue->setVisible(!m_loginItems.issue().isEmpty());
}

} // namespace quillvane
