#pragma once

#include <optional>
#include <vector>

#include "net/Link.h"

namespace quillvane {

// A link without a transport: what the host sends is kept, what the peer "sends" is delivered by
// the test, and closing reports once, as a real link does.
class FakeLink final : public Link {
public:
    explicit FakeLink(const char* address = "192.168.1.20") : m_address(QString::fromLatin1(address)) {}

    QHostAddress peerAddress() const override { return m_address; }
    bool isAuthenticated() const override { return authenticated; }
    bool isClosed() const override { return closeReason.has_value(); }
    bool isSilent() const override { return silent; }
    void start() override { started = true; }
    void send(const WireMessage& message) override {
        if (!isClosed())
            sent.push_back(message);
    }
    void close(std::optional<QString> reason = {}) override {
        if (isClosed())
            return;
        closeReason = reason.value_or(QString());
        onMessage = nullptr;
        onFirstBytes = nullptr;
        if (const auto closed = std::exchange(onClose, nullptr))
            closed(reason);
    }

    // The peer's message, as the transport would hand it up.
    void deliver(const WireMessage& message) {
        silent = false;
        if (const auto first = std::exchange(onFirstBytes, nullptr))
            first();
        if (const auto handler = onMessage)
            handler(message);
    }
    // The last message of `kind` the host sent, if any.
    std::optional<WireMessage> last(WireMessage::Kind kind) const {
        for (auto it = sent.rbegin(); it != sent.rend(); ++it)
            if (it->kind == kind)
                return *it;
        return std::nullopt;
    }

    bool authenticated = true;
    bool silent = false;
    bool started = false;
    std::vector<WireMessage> sent;
    std::optional<QString> closeReason; // "" when closed without one

private:
    QHostAddress m_address;
};

} // namespace quillvane
