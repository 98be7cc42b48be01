#pragma once

#include <QMainWindow>

#include "SettingsPage.h"

class QLabel;
class QListWidget;
class QStackedWidget;

namespace quillvane {

class AppStrings;
class BrowserAccess;
class ConnectionPage;
class GeneralPage;
class HostModel;
class InputBackend;
class LoginItemSettings;
class VoicePage;

// The settings window: a sidebar with the program's name and its pages, and the chosen page.
// Closing it (also with Ctrl+W) only hides it; the program keeps running in the tray.
class SettingsWindow : public QMainWindow {
    Q_OBJECT
public:
    // Texts the host keeps untranslated are shown through `strings`.
    SettingsWindow(HostModel& host, AppStrings& strings, LoginItemSettings& loginItems,
                   QWidget* parent = nullptr);

    // Shows the window, or brings it forward, with the pairing code hidden again and the
    // permission and the login item read afresh.
    void present();
    void setInputBackend(const InputBackend* backend);
    void setBrowserAccess(BrowserAccess* browsers);
    // Without a tray the window is the program: `hint` (shown above the pages) says so, and the
    // note that closing keeps the program running goes. Null: the program is in a tray.
    void setNoTrayHint(QWidget* hint);

protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void retranslate();
    // The logo at the device pixel ratio of the window's screen.
    void showLogo();
    void fitPageList();

    QLabel* m_logo;
    QLabel* m_tagline;
    QListWidget* m_pages;
    QStackedWidget* m_stack;
    ConnectionPage* m_connection;
    VoicePage* m_voice;
    GeneralPage* m_general;
};

} // namespace quillvane
