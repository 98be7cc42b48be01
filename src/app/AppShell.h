#pragma once

#include <QObject>

#include <memory>
#include <string_view>

#include "HostRuntime.h"
#include "TrayAvailability.h"

namespace quillvane {

class AppStrings;
class LoginItemSettings;
class SettingsWindow;
class TrayMenu;

// The desktop program: the host session, the interface language, the login item, the tray item
// and the settings window, created in the order the host needs (the host listens and advertises
// before any window exists) and torn down
// so that every link is closed before the program ends. Without a tray the window is the program:
// it opens at start, says how to get a tray, and closing it quits, until a tray appears.
class AppShell : public QObject {
    Q_OBJECT

public:
    explicit AppShell(std::string_view inputBackend);
    ~AppShell() override;

    HostRuntime& runtime() { return m_runtime; }
    const AppStrings& strings() const { return *m_strings; }

    // Starts the host, then puts up the tray item (now, or when a tray appears) and the window.
    void start();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showTray();
    void quit();

    HostRuntime m_runtime;
    std::unique_ptr<LoginItemSettings> m_loginItems;
    std::unique_ptr<AppStrings> m_strings;
    TrayAvailability m_trayAvailability;
    std::unique_ptr<SettingsWindow> m_window;
    std::unique_ptr<TrayMenu> m_tray;
};

} // namespace quillvane
