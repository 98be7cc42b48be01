#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <QSocketNotifier>
#include <QTcpServer>

#include "net/SecureLink.h"

namespace quillvane {

// The host's listening endpoint. listen() with its defaults takes every address (IPv4 and IPv6)
// and a port the system chooses; serverPort() tells which. Each incoming connection is handed up
// at once as a bare descriptor, before any TLS, so the owner can count and bound connections in
// every state: it either wraps the descriptor in a SecureLink made with this listener's
// parameters, or refuses it, which costs nothing but the close. Connections are never queued in
// the server, so nextPendingConnection() and newConnection() stay unused.
//
// Accepting is this class's own, not QTcpServer's: that one accepts until the kernel's queue is
// empty, and connections that arrive as fast as they are ended keep it from ever being empty, so
// the bound phone's moves would wait behind the whole flood. Here each turn of the event loop
// accepts at most kAcceptsPerTurn, and the rest wait in a queue deep enough for a burst.
class LinkListener : public QTcpServer {
    Q_OBJECT

public:
    // A flood of a thousand connections at once waits in the kernel rather than losing SYNs,
    // whose retransmission would cost a phone among them a second.
    static constexpr int kBacklog = 1024;
    static constexpr int kAcceptsPerTurn = 16;

    explicit LinkListener(SecureLink::Parameters parameters,
                          std::chrono::milliseconds readyDeadline = SecureLink::kReadyDeadline,
                          QObject* parent = nullptr);

    // As QTcpServer::listen, with this class's accepting.
    bool listen(const QHostAddress& address = QHostAddress::Any, quint16 port = 0);

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
    void acceptSome();

    std::unique_ptr<QSocketNotifier> m_acceptNotifier;
    SecureLink::Parameters m_parameters;
    std::chrono::milliseconds m_readyDeadline;
};

} // namespace quillvane
