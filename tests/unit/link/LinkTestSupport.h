#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <QByteArray>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslPreSharedKeyAuthenticator>
#include <QSslSocket>
#include <QString>
#include <QtCore/qtestsupport_core.h>

#include "net/LinkListener.h"
#include "net/SecureLink.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"

namespace quillvane::test {

// Everything here happens on loopback; this bound only keeps a broken build from hanging.
inline constexpr int kGenerousMs = 20000;

inline const Uuid& pairingId() {
    static const Uuid id = *Uuid::parse("3f2504e0-4f89-41d3-9a0c-0305e82c3301");
    return id;
}

inline SecureLink::Key pairingKey() {
    SecureLink::Key key{};
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = static_cast<std::uint8_t>(0xC0 ^ (i * 7));
    return key;
}

inline QByteArray bytesOf(const SecureLink::Key& key) {
    return QByteArray(reinterpret_cast<const char*>(key.data()),
                      static_cast<qsizetype>(key.size()));
}

inline QByteArray upperIdentity() {
    return QByteArray::fromStdString(pairingId().toString());
}

inline QByteArray frameOf(const WireMessage& message) {
    const Bytes frame = FrameCodec::encode(message);
    return QByteArray(reinterpret_cast<const char*>(frame.data()),
                      static_cast<qsizetype>(frame.size()));
}

// A frame with any length prefix and payload, including ones the codec would never write.
inline QByteArray rawFrame(std::uint32_t length, std::string_view payload) {
    QByteArray frame;
    for (int shift = 24; shift >= 0; shift -= 8)
        frame.append(static_cast<char>((length >> shift) & 0xFF));
    frame.append(payload.data(), static_cast<qsizetype>(payload.size()));
    return frame;
}

inline QByteArray jsonFrame(std::string_view json) {
    return rawFrame(static_cast<std::uint32_t>(json.size()), json);
}

inline WireMessage textMessage(std::string text) {
    WireMessage message(WireMessage::Kind::text);
    message.text = std::move(text);
    return message;
}

// A text message whose frame is exactly `frameSize` bytes.
inline WireMessage messageWithFrameSize(std::size_t frameSize) {
    const std::size_t empty = FrameCodec::encode(textMessage("")).size();
    return textMessage(std::string(frameSize - empty, 'x'));
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
    explicit LinkHarness(std::chrono::milliseconds readyDeadline = SecureLink::kReadyDeadline,
                         bool startOnAccept = true)
        : m_listener(SecureLink::parameters(pairingId(), pairingKey()), readyDeadline),
          m_startOnAccept(startOnAccept) {
        m_listener.onConnection = [this](qintptr descriptor) { accept(descriptor); };
        EXPECT_TRUE(m_listener.listen()) << m_listener.errorString().toStdString();
    }

    quint16 port() const { return m_listener.serverPort(); }
    SecureLink* link() const { return m_link.get(); }

    bool waitForLink() {
        return QTest::qWaitFor([&] { return m_link != nullptr; }, kGenerousMs);
    }
    bool waitForReady() {
        return QTest::qWaitFor([&] { return readyCount > 0 || !closes.empty(); }, kGenerousMs) &&
               readyCount > 0;
    }
    bool waitForClose() {
        return QTest::qWaitFor([&] { return !closes.empty(); }, kGenerousMs);
    }
    bool waitForMessages(std::size_t count) {
        return QTest::qWaitFor([&] { return messages.size() >= count || !closes.empty(); },
                               kGenerousMs) &&
               messages.size() >= count;
    }
    QString closeReason() const {
        return closes.empty() || !closes.front() ? QString() : *closes.front();
    }

    // Runs after each recorded message, for tests that act from inside the callback.
    std::function<void(SecureLink&, const WireMessage&)> afterMessage;

    int readyCount = 0;
    std::vector<WireMessage> messages;
    std::vector<std::optional<QString>> closes;

private:
    void accept(qintptr descriptor) {
        if (m_link) {
            LinkListener::refuse(descriptor);
            return;
        }
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
        if (m_startOnAccept)
            m_link->start();
    }

    LinkListener m_listener;
    bool m_startOnAccept;
    std::unique_ptr<SecureLink> m_link;
};

// The controller's side, written independently of SecureLink::parameters.
inline std::unique_ptr<QSslSocket> pskClient(quint16 port, QByteArray identity = upperIdentity(),
                                             QByteArray key = bytesOf(pairingKey())) {
    auto socket = std::make_unique<QSslSocket>();
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::TlsV1_2);
    configuration.setCiphers({QSslCipher(QStringLiteral("PSK-AES128-GCM-SHA256"))});
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    socket->setSslConfiguration(configuration);
    QObject::connect(
        socket.get(), &QSslSocket::preSharedKeyAuthenticationRequired, socket.get(),
        [identity, key](QSslPreSharedKeyAuthenticator* authenticator) {
            authenticator->setIdentity(identity);
            authenticator->setPreSharedKey(key);
        },
        Qt::DirectConnection);
    socket->connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
    return socket;
}

} // namespace quillvane::test
