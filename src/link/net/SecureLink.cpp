#include "SecureLink.h"

#include <exception>
#include <span>
#include <string>
#include <utility>

#include <QAbstractSocket>
#include <QLoggingCategory>
#include <QSslCipher>
#include <QSslPreSharedKeyAuthenticator>
#include <QSslSocket>
#include <QTimer>

#include "Random.h"
#include "protocol/FrameCodec.h"
#include "protocol/PadError.h"

namespace quillvane {

namespace {

Q_LOGGING_CATEGORY(lcLink, "app.quillvane.SecureLink")

QString reasonFrom(const std::exception& error) {
    return QString::fromUtf8(error.what());
}

} // namespace

SecureLink::Key SecureLink::requireKey(const std::optional<Key>& key) {
    if (!key)
        throw PadError::invalid("无效配对密钥");
    return *key;
}

SecureLink::Parameters SecureLink::parameters(const Uuid& identity, const std::optional<Key>& key) {
    const Key bytes = requireKey(key);

    QSslConfiguration configuration;
    // A single protocol, not a range: TLS 1.3 would replace the PSK suite with its own.
    configuration.setProtocol(QSsl::TlsV1_2);
    configuration.setCiphers({QSslCipher(QStringLiteral("PSK-AES128-GCM-SHA256"), QSsl::TlsV1_2)});
    // The shared key is the whole authentication; neither side has a certificate to check.
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);

    const std::string identityText = identity.toString();
    return Parameters{
        std::move(configuration),
        QByteArray(identityText.data(), static_cast<qsizetype>(identityText.size())),
        QByteArray(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<qsizetype>(bytes.size())),
    };
}

SecureLink::Parameters SecureLink::parameters(const PairingProfile& profile) {
    return parameters(profile.id, profile.keyData());
}

SecureLink::SecureLink(std::unique_ptr<QSslSocket> socket, Parameters parameters,
                       std::chrono::milliseconds readyDeadline, QObject* parent)
    : Link(parent), m_id(randomUuid()), m_socket(std::move(socket)),
      m_parameters(std::move(parameters)), m_readyDeadline(readyDeadline) {
    m_socket->setSslConfiguration(m_parameters.configuration);
    // Pointer moves are tiny frames that must leave at once.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

SecureLink::~SecureLink() {
    // A link released without close() just stops: no callback runs from here.
    m_closed = true;
    m_socket->disconnect(this);
    m_socket->abort();
}

std::int64_t SecureLink::outstanding() const {
    return m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite();
}

QHostAddress SecureLink::peerAddress() const { return m_socket->peerAddress(); }

void SecureLink::start() {
    if (m_started || m_closed)
        return;
    m_started = true;

    QSslSocket* socket = m_socket.get();
    connect(socket, &QSslSocket::encrypted, this, &SecureLink::handleEncrypted);
    connect(socket, &QSslSocket::readyRead, this, &SecureLink::handleReadyRead);
    connect(socket, &QSslSocket::errorOccurred, this, &SecureLink::handleError);
    connect(socket, &QSslSocket::disconnected, this, &SecureLink::handleDisconnected);
    // OpenSSL asks for the key from inside the handshake; a queued answer would come too late.
    connect(socket, &QSslSocket::preSharedKeyAuthenticationRequired, this,
            &SecureLink::handlePreSharedKey, Qt::DirectConnection);

    // Armed once and never cancelled: they do nothing for a link that is ready or closed.
    // Precise, so a link that is in time by a hair is never cut early.
    for (QTimer* timer : {&m_readyTimer, &m_identityTimer}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_readyTimer, &QTimer::timeout, this, &SecureLink::handleDeadline);
    connect(&m_identityTimer, &QTimer::timeout, this, &SecureLink::handleIdentityDeadline);
    m_readyTimer.start(m_readyDeadline);
    m_identityTimer.start(kIdentityDeadline);
    // Until then the socket is plain: its first bytes wait unread for the TLS session.
    if (socket->bytesAvailable() > 0)
        handleFirstBytes();
}

void SecureLink::handleFirstBytes() {
    m_encryptionStarted = true;
    if (const auto first = std::exchange(onFirstBytes, nullptr)) {
        try {
            first();
        } catch (const std::exception& error) {
            close(reasonFrom(error));
        }
        if (m_closed)
            return;
    }
    m_socket->startServerEncryption();
}

void SecureLink::send(const WireMessage& message) {
    if (!m_ready || m_closed)
        return;

    Bytes frame;
    try {
        frame = FrameCodec::encode(message);
    } catch (const std::exception& error) {
        close(reasonFrom(error));
        return;
    }

    const auto size = static_cast<std::int64_t>(frame.size());
    if (outstanding() + size > kMaximumOutstanding) {
        close(QStringLiteral("网络发送积压，请重新连接"));
        return;
    }
    if (m_socket->write(reinterpret_cast<const char*>(frame.data()), size) != size)
        close(m_socket->errorString());
}

void SecureLink::close(std::optional<QString> reason) {
    if (m_closed)
        return;
    m_closed = true;
    m_socket->disconnect(this);
    m_socket->abort();

    auto closed = std::exchange(onClose, nullptr);
    onReady = nullptr;
    onMessage = nullptr;
    onFirstBytes = nullptr;
    if (!closed)
        return;
    try {
        closed(reason);
    } catch (const std::exception& error) {
        // close() runs inside socket signals; the owner's failure must not unwind through Qt.
        qCWarning(lcLink, "Close handler failed: %s", error.what());
    }
}

void SecureLink::handleEncrypted() {
    if (m_closed)
        return;
    m_ready = true;
    try {
        // A copy: the callback may close the link, which clears the member while it runs.
        if (const auto ready = onReady)
            ready();
    } catch (const std::exception& error) {
        close(reasonFrom(error));
    }
    // Bytes that arrived together with the end of the handshake have not been announced.
    if (!m_closed && m_socket->bytesAvailable() > 0)
        readAvailable();
}

void SecureLink::handleReadyRead() {
    if (!m_closed && !m_encryptionStarted)
        handleFirstBytes();
    if (m_closed || !m_ready)
        return;
    readAvailable();
}

void SecureLink::handleError() {
    if (m_closed)
        return;
    // Whatever was decrypted before the failure is delivered before the link reports it.
    if (m_ready)
        readAvailable();
    if (m_closed)
        return;
    if (m_socket->error() == QAbstractSocket::RemoteHostClosedError)
        close(QStringLiteral("连接已关闭"));
    else
        close(m_socket->errorString());
}

void SecureLink::handleDisconnected() {
    if (m_closed)
        return;
    if (m_ready)
        readAvailable();
    close(QStringLiteral("连接已关闭"));
}

void SecureLink::handlePreSharedKey(QSslPreSharedKeyAuthenticator* authenticator) {
    m_identityPresented = true;
    // Leaving the key empty for any other identity makes the handshake fail.
    if (authenticator->identity() == m_parameters.identity)
        authenticator->setPreSharedKey(m_parameters.key);
}

void SecureLink::handleDeadline() {
    if (!m_ready)
        close(QStringLiteral("连接超时，请检查配对码和网络"));
}

void SecureLink::handleIdentityDeadline() {
    if (!m_identityPresented && !m_ready)
        close(QStringLiteral("连接超时，请检查配对码和网络"));
}

void SecureLink::readAvailable() {
    try {
        while (!m_closed && m_socket->bytesAvailable() > 0)
            deliver(m_socket->read(kMaximumRead));
    } catch (const std::exception& error) {
        close(reasonFrom(error));
    }
}

void SecureLink::deliver(const QByteArray& chunk) {
    std::vector<WireMessage> messages;
    try {
        messages = m_decoder.append(std::span(reinterpret_cast<const std::uint8_t*>(chunk.data()),
                                              static_cast<std::size_t>(chunk.size())));
    } catch (const std::exception& error) {
        close(reasonFrom(error));
        return;
    }
    for (const WireMessage& message : messages) {
        if (m_closed)
            return;
        if (const auto handler = onMessage)
            handler(message);
    }
}

} // namespace quillvane
