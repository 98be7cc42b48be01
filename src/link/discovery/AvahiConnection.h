#pragma once

#include <functional>

#include <QLoggingCategory>
#include <QObject>

#include <avahi-client/client.h>
#include <avahi-glib/glib-watch.h>

namespace quillvane {

Q_DECLARE_LOGGING_CATEGORY(lcServiceDiscovery)

// The connection to avahi-daemon behind the advertiser and the browser (who hold it by pointer, so
// that Avahi's headers stay out of theirs): an Avahi client on Qt's main loop, whose dispatcher on
// Linux is GLib's default main context, the one libavahi-glib polls. It survives the daemon: a
// client that loses the daemon, or cannot be made, is replaced by one that waits for it to come
// back, so the owner sees "unavailable" and then "running" again.
class AvahiConnection {
public:
    struct Handlers {
        // The daemon is ready: entry groups and browsers can be made on `client`.
        std::function<void(AvahiClient* client)> running;
        // The host name is being (re-)registered or collided: published entries must be reset and
        // added again on the next `running`.
        std::function<void()> suspended;
        // Everything made on the client is about to be freed with it; drop the pointers.
        std::function<void()> clientGone;
        // The daemon cannot be reached (not running, gone, or refusing the client); carries Avahi's
        // error code. The connection keeps trying: `running` follows once the daemon is back.
        std::function<void(int error)> unavailable;
    };

    explicit AvahiConnection(Handlers handlers);
    ~AvahiConnection();
    AvahiConnection(const AvahiConnection&) = delete;
    AvahiConnection& operator=(const AvahiConnection&) = delete;

    // Creates the client unless there is one; `running` follows once the daemon is ready, possibly
    // before this returns.
    void open();
    // The client when the daemon is ready, otherwise null.
    AvahiClient* runningClient() const;

private:
    static void onClientState(AvahiClient* client, AvahiClientState state, void* self);
    void handleState(AvahiClient* client, AvahiClientState state);
    void dropClient();
    void reportUnavailable(int error);

    Handlers m_handlers;
    // Context of the work deferred to the event loop: it dies with the connection, and so does
    // the work.
    QObject m_deferred;
    AvahiGLibPoll* m_poll = nullptr;
    AvahiClient* m_client = nullptr;
    // A client that failed inside its own callback; freed from the event loop, never from there.
    AvahiClient* m_failedClient = nullptr;
    // The error last reported as unavailable, 0 once running.
    int m_reported = 0;
};

} // namespace quillvane
