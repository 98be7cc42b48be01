#include "discovery/AvahiConnection.h"

#include <chrono>

#include <QTimer>

#include <avahi-common/error.h>

namespace quillvane {

Q_LOGGING_CATEGORY(lcServiceDiscovery, "app.quillvane.ServiceDiscovery")

namespace {

// A client that could not be made at all (a daemon still going down, say) is tried again after
// this long. A client waiting in CONNECTING needs no timer: it watches the daemon's bus name.
constexpr std::chrono::seconds kRetryDelay{2};

} // namespace

AvahiConnection::AvahiConnection(Handlers handlers)
    : m_handlers(std::move(handlers)), m_poll(avahi_glib_poll_new(nullptr, G_PRIORITY_DEFAULT)) {}

AvahiConnection::~AvahiConnection() {
    if (m_client)
        avahi_client_free(m_client);
    if (m_failedClient)
        avahi_client_free(m_failedClient);
    avahi_glib_poll_free(m_poll);
}

void AvahiConnection::open() {
    if (m_client)
        return;
    int error = 0;
    // NO_FAIL: without a daemon the client waits in CONNECTING instead of failing, so the host can
    // start before avahi-daemon does. The callback may run (and set m_client) before this returns.
    AvahiClient* client = avahi_client_new(avahi_glib_poll_get(m_poll), AVAHI_CLIENT_NO_FAIL,
                                           &AvahiConnection::onClientState, this, &error);
    if (!client) {
        reportUnavailable(error);
        QTimer::singleShot(kRetryDelay, &m_deferred, [this] { open(); });
        return;
    }
    if (client != m_failedClient)
        m_client = client;
}

AvahiClient* AvahiConnection::runningClient() const {
    return m_client && avahi_client_get_state(m_client) == AVAHI_CLIENT_S_RUNNING ? m_client
                                                                                  : nullptr;
}

void AvahiConnection::onClientState(AvahiClient* client, AvahiClientState state, void* self) {
    static_cast<AvahiConnection*>(self)->handleState(client, state);
}

void AvahiConnection::handleState(AvahiClient* client, AvahiClientState state) {
    if (!m_client)
        m_client = client;
    switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
        m_reported = AVAHI_OK;
        m_handlers.running(client);
        break;
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
        m_handlers.suspended();
        break;
    case AVAHI_CLIENT_CONNECTING:
        reportUnavailable(AVAHI_ERR_NO_DAEMON);
        break;
    case AVAHI_CLIENT_FAILURE: {
        const int error = avahi_client_errno(client);
        m_handlers.clientGone();
        dropClient();
        if (error == AVAHI_ERR_DISCONNECTED) {
            // The daemon went away (restart, upgrade). A NO_FAIL client still fails on that, so a
            // fresh one takes its place at once; what it finds is what gets reported.
            qCInfo(lcServiceDiscovery, "avahi-daemon disconnected; waiting for it to return");
            QTimer::singleShot(0, &m_deferred, [this] { open(); });
        } else {
            reportUnavailable(error);
            QTimer::singleShot(kRetryDelay, &m_deferred, [this] { open(); });
        }
        break;
    }
    }
}

void AvahiConnection::reportUnavailable(int error) {
    // Retries find the same trouble again and again; the log says so once.
    if (error != m_reported)
        qCWarning(lcServiceDiscovery, "avahi-daemon unavailable: %s", avahi_strerror(error));
    m_reported = error;
    m_handlers.unavailable(error);
}

void AvahiConnection::dropClient() {
    if (m_failedClient)
        avahi_client_free(m_failedClient);
    m_failedClient = m_client;
    m_client = nullptr;
    QTimer::singleShot(0, &m_deferred, [this] {
        if (m_failedClient) {
            avahi_client_free(m_failedClient);
            m_failedClient = nullptr;
        }
    });
}

} // namespace quillvane
