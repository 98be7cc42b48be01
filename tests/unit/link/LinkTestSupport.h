#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <string_view>
#include <vector>

#include <QByteArray>
#include <QString>
#include <QtEndian>

#include "net/LinkListener.h"
#include "net/SecureLink.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"
#include "support/EventWait.h"

namespace quillvane::test {

// Everything here happens on loopback; this bound only keeps a broken build from hanging.
inline constexpr int kGenerousMs = 20000;

// What a controller offers as PSK identity: the pairing id as upper-case text, written out here
// rather than derived, so the tests do not share the link's idea of it.
inline const QByteArray kIdentity("3F2504E0-4F89-41D3-9A0C-0305E82C3301");

inline const Uuid& pairingId() {
    static const Uuid id = *Uuid::parse("3f2504e0-4f89-41d3-9a0c-0305e82c3301");
    return id;
}

inline SecureLink::Key pairingKey() {
    SecureLink::Key key{};
    std::iota(key.begin(), key.end(), std::uint8_t{0xC0});
    return key;
}

// Any byte container (a key, an encoded frame) as Qt bytes.
template <typename Container> QByteArray bytesOf(const Container& bytes) {
    return QByteArray(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<qsizetype>(bytes.size()));
}

inline QByteArray frameOf(const WireMessage& message) {
    return bytesOf(FrameCodec::encode(message));
}

// A frame with any length prefix and payload, including ones the codec would never write.
inline QByteArray rawFrame(std::uint32_t length, std::string_view payload) {
    QByteArray frame(4, '\0');
    qToBigEndian(length, frame.data());
    return frame.append(payload.data(), static_cast<qsizetype>(payload.size()));
}

// A text message whose frame is exactly `frameSize` bytes.
inline WireMessage sizedMessage(std::size_t frameSize) {
    WireMessage message(WireMessage::Kind::text);
    message.text = "";
    message.text = std::string(frameSize - FrameCodec::encode(message).size(), 'x');
    return message;
}

// Cuts what a peer received into messages.
struct FrameCollector {
    FrameDecoder decoder;
    std::vector<WireMessage> messages;

    void take(const QByteArray& bytes) {
        for (auto& message :
             decoder.append(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                      static_cast<std::size_t>(bytes.size()))))
            messages.push_back(std::move(message));
    }
};

// A listener on the real path (every address, system port) whose first connection becomes a
// started link; the link's callbacks are recorded.
class LinkHarness {
public:
    explicit LinkHarness(std::chrono::milliseconds readyDeadline = SecureLink::kReadyDeadline)
        : m_listener(SecureLink::parameters(pairingId(), pairingKey()), readyDeadline) {
        m_listener.onConnection = [this](qintptr descriptor) { accept(descriptor); };
        EXPECT_TRUE(m_listener.listen()) << m_listener.errorString().toStdString();
    }

    quint16 port() const { return m_listener.serverPort(); }
    SecureLink* link() const { return m_link.get(); }

    // Waits until `condition` holds; gives up as soon as the link closed.
    bool waitFor(const std::function<bool()>& condition) {
        return testing_support::waitUntil([&] { return condition() || !closes.empty(); }, kGenerousMs) &&
               condition();
    }
    bool waitForReady() {
        return waitFor([&] { return readyCount > 0; });
    }
    bool waitForClose() {
        return waitFor([&] { return !closes.empty(); });
    }
    QString closeReason() const {
        return closes.empty() || !closes.front() ? QString() : *closes.front();
    }

    // For tests that act on the link: right after start(), and after each recorded message.
    std::function<void(SecureLink&)> afterStart;
    std::function<void(SecureLink&, const WireMessage&)> afterMessage;

    int readyCount = 0;
    std::vector<WireMessage> messages;
    std::vector<std::optional<QString>> closes;

private:
    void accept(qintptr descriptor) {
        m_link.reset(m_listener.wrap(descriptor));
        ASSERT_NE(m_link, nullptr);
        m_link->onReady = [this] { ++readyCount; };
        m_link->onMessage = [this](const WireMessage& message) {
            messages.push_back(message);
            if (afterMessage)
                afterMessage(*m_link, message);
        };
        m_link->onClose = [this](const std::optional<QString>& reason) {
            closes.push_back(reason);
        };
        m_link->start();
        if (afterStart)
            afterStart(*m_link);
    }

    LinkListener m_listener;
    std::unique_ptr<SecureLink> m_link;
};

} // namespace quillvane::test
