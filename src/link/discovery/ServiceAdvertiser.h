#pragma once

#include <memory>
#include <optional>

#include <QObject>
#include <QString>

#include "discovery/ServiceDiscovery.h"

struct AvahiClient;
struct AvahiEntryGroup;

namespace quillvane {

class AvahiConnection;

// Publishes one DNS-SD service through avahi-daemon and keeps it published: after a daemon restart
// it registers again, and after a name collision it takes Avahi's alternative name (the TXT "id"
// still names the pairing). Runs on Qt's main loop. Its signals are emitted from the event loop,
// never from inside an Avahi callback, so a handler may delete the advertiser.
//
// failed() carries the user-facing text "无法发布局域网服务（N）", N being Avahi's error code
// (-26 while avahi-daemon is not running). After a daemon problem the advertiser keeps trying, and
// registered() follows once the service is published again.
class ServiceAdvertiser : public QObject {
    Q_OBJECT

public:
    enum class State {
        Withdrawn,  // nothing to publish
        Waiting,    // waiting for avahi-daemon, or registering with it
        Registered, // the service is published under registeredName()
        Failed,     // see failed(); may still turn Registered when the daemon returns
    };

    explicit ServiceAdvertiser(QObject* parent = nullptr);
    ~ServiceAdvertiser() override;

    // Publishes `advertisement` on `port`, replacing whatever this advertiser published before (the
    // old name disappears from the network).
    void publish(const ServiceAdvertisement& advertisement, quint16 port);
    void withdraw();

    State state() const { return m_state; }
    // The instance name in use: the advertisement's name, or Avahi's alternative after a collision.
    QString registeredName() const;

Q_SIGNALS:
    void registered(const QString& name);
    void failed(const QString& issue);

private:
    struct Wanted {
        ServiceAdvertisement advertisement;
        quint16 port = 0;
    };

    void handleGroupState(AvahiEntryGroup* group, int state);
    void registerService(AvahiClient* client);
    void takeAlternativeName();
    void fail(int error);

    std::unique_ptr<AvahiConnection> m_connection;
    std::optional<Wanted> m_wanted;
    std::string m_name;
    AvahiEntryGroup* m_group = nullptr;
    State m_state = State::Withdrawn;
    int m_error = 0; // Avahi's code of the last failure
};

} // namespace quillvane
