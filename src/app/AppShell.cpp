#include "AppShell.h"

#include <QApplication>

#include "TrayMenu.h"

namespace quillvane {

AppShell::AppShell(std::string_view inputBackend) : m_runtime(inputBackend) {
    // The program lives in the tray; windows come and go.
    QApplication::setQuitOnLastWindowClosed(false);
}

AppShell::~AppShell() = default;

void AppShell::start() {
    m_runtime.host().start();
    if (m_trayAvailability.available())
        showTray();
    else
        qInfo("No tray on this desktop yet; the tray item appears once a panel offers one.");
    connect(&m_trayAvailability, &TrayAvailability::appeared, this, &AppShell::showTray);
}

void AppShell::showTray() {
    if (m_tray)
        return;
    m_tray = std::make_unique<TrayMenu>(m_runtime.host(),
                                        [](const QString& hostText) { return hostText; });
    connect(m_tray.get(), &TrayMenu::quitRequested, this, &AppShell::quit);
    m_tray->showInTray();
}

void AppShell::quit() {
    // Every link is closed before the event loop ends, not only when the program unwinds.
    m_runtime.host().stop();
    QCoreApplication::quit();
}

} // namespace quillvane
