#include "AppShell.h"

#include <QApplication>
#include <QEvent>

#include "AppStrings.h"
#include "LoginItemSettings.h"
#include "SettingsWindow.h"
#include "TrayHint.h"
#include "TrayMenu.h"

namespace quillvane {

AppShell::AppShell(std::string_view inputBackend)
    : m_runtime(inputBackend),
      // Registers the program at its first run, before anything else can go wrong.
      m_loginItems(std::make_unique<LoginItemSettings>(m_runtime.settings())),
      m_strings(std::make_unique<AppStrings>(m_runtime.settings())) {
    // The program lives in the tray; windows come and go.
    QApplication::setQuitOnLastWindowClosed(false);
}

AppShell::~AppShell() = default;

void AppShell::start() {
    m_runtime.host().start();
    m_window = std::make_unique<SettingsWindow>(m_runtime.host(), *m_strings, *m_loginItems);
    m_window->setInputBackend(&m_runtime.backend());
    m_window->setBrowserAccess(&m_runtime.browsers());
    connect(&m_runtime.browsers(), &BrowserAccess::browserPaired, this, [this](const QString& name) {
        if (m_tray)
            m_tray->announceBrowser(name);
    });
    m_window->installEventFilter(this);
    if (m_trayAvailability.available()) {
        showTray();
    } else {
        m_window->setNoTrayHint(new TrayHint);
        m_window->present();
    }
    connect(&m_trayAvailability, &TrayAvailability::appeared, this, &AppShell::showTray);
}

bool AppShell::eventFilter(QObject* watched, QEvent* event) {
    // Without a tray nothing would be left to bring the window back.
    if (watched == m_window.get() && event->type() == QEvent::Close && !m_tray)
        quit();
    return QObject::eventFilter(watched, event);
}

void AppShell::showTray() {
    if (m_tray)
        return;
    m_tray = std::make_unique<TrayMenu>(m_runtime.host(),
                                        [this](const QString& text) { return m_strings->issue(text); });
    connect(m_tray.get(), &TrayMenu::openRequested, m_window.get(), &SettingsWindow::present);
    connect(m_tray.get(), &TrayMenu::quitRequested, this, &AppShell::quit);
    m_tray->showInTray();
    // The hint's promise (closing quits) no longer holds.
    m_window->setNoTrayHint(nullptr);
}

void AppShell::quit() {
    // Every link is closed before the event loop ends, not only when the program unwinds.
    m_runtime.host().stop();
    QCoreApplication::quit();
}

} // namespace quillvane
