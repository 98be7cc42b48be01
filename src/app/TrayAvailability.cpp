#include "TrayAvailability.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QGuiApplication>

#include <string>

// After Qt's headers: Xlib's macros collide with Qt's names.
#include <X11/Xlib.h>

namespace quillvane {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
constexpr int xembedPollMs = 1000;

} // namespace

TrayAvailability::TrayAvailability(QObject* parent)
    : QObject(parent), m_watcher(watcherService, QDBusConnection::sessionBus(),
                                 QDBusServiceWatcher::WatchForRegistration) {
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this,
            &TrayAvailability::watcherChanged);
    // A watcher may come up before the panel that registers as its host.
    QDBusConnection::sessionBus().connect(watcherService, watcherPath, watcherService,
                                          QStringLiteral("StatusNotifierHostRegistered"), this,
                                          SLOT(watcherChanged()));
    m_xembedPoll.setInterval(xembedPollMs);
    connect(&m_xembedPoll, &QTimer::timeout, this, [this] {
        if (xembedTray()) {
            m_xembedPoll.stop();
            Q_EMIT appeared();
        }
    });
    if (!available() && qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        m_xembedPoll.start();
}

bool TrayAvailability::available() const {
    return statusNotifierHost() || xembedTray();
}

bool TrayAvailability::xembedTray() const {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    Display* display = x11 ? x11->display() : nullptr;
    if (!display)
        return false;
    const std::string selection = "_NET_SYSTEM_TRAY_S" + std::to_string(DefaultScreen(display));
    return XGetSelectionOwner(display, XInternAtom(display, selection.c_str(), False)) != None;
}

bool TrayAvailability::statusNotifierHost() const {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(watcherService))
        return false;
    QDBusInterface properties(watcherService, watcherPath,
                              QStringLiteral("org.freedesktop.DBus.Properties"), bus);
    const QDBusReply<QDBusVariant> reply = properties.call(
        QStringLiteral("Get"), watcherService, QStringLiteral("IsStatusNotifierHostRegistered"));
    return reply.isValid() && reply.value().variant().toBool();
}

void TrayAvailability::watcherChanged() {
    if (available()) {
        m_xembedPoll.stop();
        Q_EMIT appeared();
    }
}

} // namespace quillvane
