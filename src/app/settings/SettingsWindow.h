#pragma once

#include <QMainWindow>

#include "SettingsPage.h"

class QLabel;
class QListWidget;
class QStackedWidget;

namespace quillvane {

class ConnectionPage;
class HostModel;
class InputBackend;
class VoicePage;

// The settings window: a sidebar with the program's name and its pages, and the chosen page.
// Closing it only hides it; the program keeps running in the tray.
class SettingsWindow : public QMainWindow {
    Q_OBJECT
public:
    SettingsWindow(HostModel& host, SettingsPage::HostText hostText, QWidget* parent = nullptr);

    // Shows the window, or brings it forward, with the pairing code hidden again.
    void present();
    void setInputBackend(const InputBackend* backend);

protected:
    void changeEvent(QEvent* event) override;

private:
    void retranslate();

    QLabel* m_tagline;
    QListWidget* m_pages;
    QStackedWidget* m_stack;
    ConnectionPage* m_connection;
    VoicePage* m_voice;
};

} // namespace quillvane
