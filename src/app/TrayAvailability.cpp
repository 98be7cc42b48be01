#include "TrayAvailability.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>

namespace quillvane {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

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
}

bool TrayAvailability::available() const {
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
    if (available())
        Q_EMIT appeared();
}

} // namespace quillvane
