#pragma once

#include <functional>
#include <optional>

#include <QHostAddress>
#include <QObject>
#include <QString>

#include "protocol/WireMessage.h"

namespace quillvane {

// One connection with a controller as the session sees it, whatever carries it: WireMessages in
// and out, the peer's address, whether the peer has proven the pairing key, and one close that
// reports its reason once. Lives on the main thread; its owner releases it with deleteLater(),
// since a callback may run while the transport is still delivering.
class Link : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual QHostAddress peerAddress() const = 0;
    // The peer has proven it holds the pairing key; an authenticated link never loses its place
    // to a newcomer.
    virtual bool isAuthenticated() const = 0;
    virtual bool isClosed() const = 0;
    // The peer has sent nothing yet, so the link has cost nothing but its connection.
    virtual bool isSilent() const = 0;

    // Starts the transport's own handshake once the callbacks are set; call once.
    virtual void start() = 0;
    // Queues one message; dropped before authentication and after close.
    virtual void send(const WireMessage& message) = 0;
    // Idempotent: the first call ends the connection, clears the callbacks and then calls the
    // onClose that was set, with `reason`.
    virtual void close(std::optional<QString> reason = {}) = 0;

    std::function<void(const WireMessage&)> onMessage;
    std::function<void(const std::optional<QString>& reason)> onClose;
    // Called once, when the peer sends its first bytes, before anything is done with them; the
    // callback may close the link instead.
    std::function<void()> onFirstBytes;
};

} // namespace quillvane
