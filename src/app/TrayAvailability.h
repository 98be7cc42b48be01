#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <QTimer>

namespace quillvane {

// Whether a tray can show the program's item: a StatusNotifierWatcher on the session bus with a
// host (a panel) registered at it, or, on X11, an XEmbed system tray (the owner of the screen's
// _NET_SYSTEM_TRAY_S<n> selection). Desktops whose panel starts after the program (a login
// session coming up) get one later; `appeared` tells when.
//
// Qt decides once per process whether its tray icons go over D-Bus or XEmbed, the first time one
// is created or QSystemTrayIcon::isSystemTrayAvailable() is asked, and keeps that answer. So
// nothing may ask Qt before a tray is known to be there, or a tray that appears later could never
// be used.
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
    bool statusNotifierHost() const;
    bool xembedTray() const;

    QDBusServiceWatcher m_watcher;
    // An XEmbed tray announces itself only to clients that listen on the root window; asking
    // for the selection's owner now and then is simpler and costs one round trip.
    QTimer m_xembedPoll;
};

} // namespace quillvane
