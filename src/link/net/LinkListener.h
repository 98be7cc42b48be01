#pragma once

#include <chrono>
#include <functional>

#include <QTcpServer>

#include "net/SecureLink.h"

namespace quillvane {

// The host's listening endpoint. listen() with its defaults takes every address (IPv4 and IPv6)
// and a port the system chooses; serverPort() tells which. Each incoming connection is handed up
// at once as a bare descriptor, before any TLS, so the owner can count and bound connections in
// every state: it either wraps the descriptor in a SecureLink made with this listener's
// parameters, or refuses it, which costs nothing but the close. Connections are never queued in
// the server, so nextPendingConnection() and newConnection() stay unused.
class LinkListener : public QTcpServer {
    Q_OBJECT

public:
    explicit LinkListener(SecureLink::Parameters parameters,
                          std::chrono::milliseconds readyDeadline = SecureLink::kReadyDeadline,
                          QObject* parent = nullptr);

    // A link for an accepted descriptor, not started, owned by `parent`; nullptr when the
    // descriptor is no longer a usable socket (it is closed then).
    SecureLink* wrap(qintptr descriptor, QObject* parent = nullptr) const;
    // Ends an accepted connection that will not get a link.
    static void refuse(qintptr descriptor);

    // Called for each accepted connection; without it connections are refused.
    std::function<void(qintptr descriptor)> onConnection;

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    SecureLink::Parameters m_parameters;
    std::chrono::milliseconds m_readyDeadline;
};

} // namespace quillvane
