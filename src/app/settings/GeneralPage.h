#pragma once

#include "SettingsPage.h"

class QCheckBox;
class QComboBox;
class QLabel;

namespace quillvane {

class AppStrings;
class Card;
class LoginItemSettings;

// The interface language, starting at login, and the program's version.
class GeneralPage : public SettingsPage {
    Q_OBJECT
public:
    GeneralPage(AppStrings& strings, LoginItemSettings& loginItems, HostText hostText,
                QWidget* parent = nullptr);

    void retranslate() override;
    // Reads the login item again: the user may have changed it outside the program.
    void refresh();
    // Whether the program lives in a tray; without one, closing the window quits.
    void setInTray(bool inTray);

private:
    void updateLanguage();
    void updateLoginItem();

    AppStrings& m_strings;
    LoginItemSettings& m_loginItems;
    bool m_updating = false;

    Card* m_languageCard;
    QComboBox* m_language;
    Card* m_loginCard;
    QCheckBox* m_startAtLogin;
    QLabel* m_loginIssue;
    Card* m_aboutCard;
    QLabel* m_note;
    QLabel* m_version;
};

} // namespace quillvane
