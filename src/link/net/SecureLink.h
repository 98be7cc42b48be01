#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QByteArray>
#include <QHostAddress>
#include <QSslConfiguration>
#include <QString>
#include <QTimer>

#include "net/Link.h"
#include "pairing/PairingProfile.h"
#include "protocol/FrameDecoder.h"
#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"

class QSslPreSharedKeyAuthenticator;
class QSslSocket;

namespace quillvane {

// The host's end of one encrypted stream with a controller: TLS 1.2 with a pre-shared key over
// one accepted TCP connection. It cuts the received stream into WireMessages, sends messages as
// frames, and ends the connection on the first failure, reporting the reason once through
// onClose. It knows nothing of the session protocol. Authenticated once the TLS handshake has
// finished, which only a peer holding the key can do.
class SecureLink : public Link {
    Q_OBJECT

public:
    using Key = PairingProfile::Key;

    // What every accepted connection is set up with: the TLS configuration (protocol, cipher,
    // no certificate) and the one pre-shared key with its identity. Made by parameters().
    struct Parameters {
        QSslConfiguration configuration;
        QByteArray identity;
        QByteArray key;
    };

    static constexpr std::chrono::milliseconds kReadyDeadline{8000};
    // A controller presents its pairing identity in its second flight, one round trip after
    // connecting: tens of milliseconds on a home network; a lost packet costs a one-second
    // retransmission, and three seconds leave room for one in each flight. A connection that has
    // not presented an identity by then is not a phone about to bind but a place held in the
    // host's table of eight, so it goes long before the ready deadline, which stays for
    // handshakes under way on a slow network.
    static constexpr std::chrono::milliseconds kIdentityDeadline{3000};
    // Bytes of frames the link may have written that the kernel has not yet taken.
    static constexpr std::int64_t kMaximumOutstanding = 0x40000;
    // Largest piece of the stream handed to the decoder at once, so one pass stays short.
    static constexpr std::int64_t kMaximumRead = 32768;

    // The key, or PadError "无效配对密钥" when the pairing secret did not decode to one.
    static Key requireKey(const std::optional<Key>& key);

    // TLS 1.2 only, only PSK-AES128-GCM-SHA256, no certificate, no peer verification; the
    // identity is the upper-case UUID text and the key its 32 raw bytes. Throws PadError
    // "无效配对密钥" for an absent key.
    static Parameters parameters(const Uuid& identity, const std::optional<Key>& key);
    static Parameters parameters(const PairingProfile& profile);

    // Takes ownership of an accepted, connected, not yet encrypted socket. Nothing starts before
    // start().
    SecureLink(std::unique_ptr<QSslSocket> socket, Parameters parameters,
               std::chrono::milliseconds readyDeadline = kReadyDeadline, QObject* parent = nullptr);
    ~SecureLink() override;

    SecureLink(const SecureLink&) = delete;
    SecureLink& operator=(const SecureLink&) = delete;

    const Uuid& id() const { return m_id; }
    bool isReady() const { return m_ready; }
    bool isAuthenticated() const override { return m_ready; }
    bool isClosed() const override { return m_closed; }
    // Whether the peer has sent nothing yet: no TLS session exists then.
    bool isSilent() const override { return !m_encryptionStarted; }
    QHostAddress peerAddress() const override;
    // Bytes written by the link that the kernel has not taken yet: frames still waiting for
    // encryption plus records waiting for the socket (these include TLS record overhead).
    std::int64_t outstanding() const;

    // Arms the identity and ready deadlines and starts the server handshake once the peer has
    // sent its first bytes: a connection that never speaks costs no TLS session, which is what
    // keeps a host that squatters connect to thousands of times a second responsive. Call once,
    // after the callbacks.
    void start() override;
    // Queues one frame; silently dropped before ready and after close. Closes the link instead
    // when the message cannot be encoded or the backlog would pass kMaximumOutstanding.
    void send(const WireMessage& message) override;
    // Aborts the connection (see Link::close).
    void close(std::optional<QString> reason = {}) override;

    std::function<void()> onReady;

private:
    void handleEncrypted();
    void handleReadyRead();
    void handleFirstBytes();
    void handleError();
    void handleDisconnected();
    void handlePreSharedKey(QSslPreSharedKeyAuthenticator* authenticator);
    void handleIdentityDeadline();
    void handleDeadline();
    void readAvailable();
    void deliver(const QByteArray& chunk);

    Uuid m_id;
    std::unique_ptr<QSslSocket> m_socket;
    Parameters m_parameters;
    std::chrono::milliseconds m_readyDeadline;
    FrameDecoder m_decoder;
    // Owned, so they die with the link: a flood ends thousands of links a second, and timers
    // left running for each would pile up in the event loop.
    QTimer m_identityTimer;
    QTimer m_readyTimer;
    bool m_started = false;
    bool m_encryptionStarted = false;
    bool m_identityPresented = false;
    bool m_ready = false;
    bool m_closed = false;
};

} // namespace quillvane
