#pragma once

#include <functional>
#include <memory>
#include <set>
#include <tuple>

#include <QHostAddress>
#include <QObject>
#include <QString>

#include "discovery/TxtRecord.h"

struct AvahiClient;
struct AvahiServiceBrowser;
struct AvahiServiceResolver;

namespace quillvane {

class AvahiConnection;

// One resolved DNS-SD service of our type.
struct DiscoveredService {
    QString name;
    TxtRecord txt;
    QString hostName;
    QHostAddress address;
    quint16 port = 0;
    int interfaceIndex = 0;
};

// The controller's side of discovery: browses ServiceDiscovery::serviceType in the default domain
// through avahi-daemon, resolves what it finds and reports it; filtering by pairing id is
// ServiceDiscovery::matches's job. Runs on Qt's main loop and survives daemon restarts (what the
// old daemon had found is reported removed, and found again by the new one). Signals are emitted
// from the event loop, never from inside an Avahi callback.
class ServiceBrowser : public QObject {
    Q_OBJECT

public:
    explicit ServiceBrowser(QObject* parent = nullptr);
    ~ServiceBrowser() override;

    void start();
    // Forgets everything found, without reporting removals.
    void stop();
    bool isRunning() const { return m_connection != nullptr; }

Q_SIGNALS:
    // Also emitted again when a known service's record or address changes.
    void serviceFound(const quillvane::DiscoveredService& service);
    // The last instance of this name (on any interface) is gone.
    void serviceRemoved(const QString& name);
    void failed(const QString& reason);

private:
    // Interface index, protocol and instance name: one sighting of a service.
    using Sighting = std::tuple<int, int, QString>;

    void startBrowsing(AvahiClient* client);
    void resolve(int interface, int protocol, const char* name, const char* type,
                 const char* domain);
    void resolved(AvahiServiceResolver* resolver, const Sighting& sighting,
                  const DiscoveredService* service);
    void removed(const Sighting& sighting);
    void forgetAll(bool reportRemovals);
    void reportFailure(const QString& reason);

    std::unique_ptr<AvahiConnection> m_connection;
    AvahiServiceBrowser* m_browser = nullptr;
    std::set<AvahiServiceResolver*> m_resolvers;
    std::set<Sighting> m_found;
};

} // namespace quillvane
