#pragma once

#include <QDBusServiceWatcher>
#include <QObject>

namespace quillvane {

// Whether a tray shows StatusNotifierItems: a StatusNotifierWatcher on the session bus with a host
// (a panel) registered at it. Desktops whose panel starts after the program (a login session
// coming up) get one later; `appeared` tells when.
//
// Qt decides once per process whether its tray icons go over D-Bus, the first time one is created
// or QSystemTrayIcon::isSystemTrayAvailable() is asked, and keeps that answer. So nothing may ask
// Qt before a tray is known to be there, or a tray that appears later could never be used.
class TrayAvailability : public QObject {
    Q_OBJECT

public:
    explicit TrayAvailability(QObject* parent = nullptr);

    bool available() const;

Q_SIGNALS:
    void appeared();

private Q_SLOTS:
    void watcherChanged();

private:

    QDBusServiceWatcher m_watcher;
};

} // namespace quillvane
