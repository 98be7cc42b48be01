#include "ControllerChannel.h"

#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslPreSharedKeyAuthenticator>

#include "protocol/FrameCodec.h"
#include "protocol/PadError.h"

namespace quillvane {

ControllerChannel::ControllerChannel(QString name, Uuid identity,
                                     std::array<std::uint8_t, 32> key, QObject* parent)
    : QObject(parent), m_name(std::move(name)), m_identity(identity), m_key(key) {
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setProtocol(QSsl::TlsV1_2);
    config.setCiphers({QSslCipher(QStringLiteral("PSK-AES128-GCM-SHA256"))});
    config.setPeerVerifyMode(QSslSocket::VerifyNone);
    m_socket.setSslConfiguration(config);
    // Moves are tiny frames that must leave at once. The option only reaches a socket that
    // exists, so it is set once connected: set before, Qt drops it and Nagle holds frames back.
    connect(&m_socket, &QAbstractSocket::connected, this,
            [this] { m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1); });

    connect(&m_socket, &QSslSocket::preSharedKeyAuthenticationRequired, this,
            [this](QSslPreSharedKeyAuthenticator* authenticator) {
                authenticator->setIdentity(QByteArray::fromStdString(m_identity.toString()));
                authenticator->setPreSharedKey(QByteArray(
                    reinterpret_cast<const char*>(m_key.data()), static_cast<qsizetype>(m_key.size())));
            },
            Qt::DirectConnection);
    connect(&m_socket, &QSslSocket::encrypted, this, [this] {
        if (onReady)
            onReady();
    });
    connect(&m_socket, &QSslSocket::readyRead, this, &ControllerChannel::readAvailable);
    connect(&m_socket, &QAbstractSocket::disconnected, this, [this] {
        m_endedByHost = true;
        closeWith(QStringLiteral("connection closed by the host"));
    });
    connect(&m_socket, &QAbstractSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        m_endedByHost = error == QAbstractSocket::RemoteHostClosedError;
        closeWith(m_socket.errorString());
    });
}

void ControllerChannel::connectTo(const QString& host, quint16 port) {
    m_socket.connectToHostEncrypted(host, port);
}

void ControllerChannel::send(const WireMessage& message) {
    const Bytes frame = FrameCodec::encode(message);
    m_socket.write(reinterpret_cast<const char*>(frame.data()), static_cast<qint64>(frame.size()));
}

void ControllerChannel::sendRaw(const QByteArray& payload) {
    const auto length = static_cast<quint32>(payload.size());
    const char prefix[4] = {static_cast<char>(length >> 24), static_cast<char>(length >> 16),
                            static_cast<char>(length >> 8), static_cast<char>(length)};
    m_socket.write(prefix, 4);
    m_socket.write(payload);
}

void ControllerChannel::sendRawBytes(const char* bytes, qint64 count) { m_socket.write(bytes, count); }

void ControllerChannel::close() {
    m_closed = true;
    m_socket.disconnectFromHost();
}

void ControllerChannel::readAvailable() {
    while (!m_closed && m_socket.bytesAvailable() > 0) {
        const QByteArray chunk = m_socket.read(32'768);
        std::vector<WireMessage> messages;
        try {
            messages = m_decoder.append(std::span(
                reinterpret_cast<const std::uint8_t*>(chunk.constData()),
                static_cast<std::size_t>(chunk.size())));
        } catch (const std::exception& error) {
            closeWith(QString::fromUtf8(error.what()));
            return;
        }
        for (const auto& message : messages) {
            if (m_closed)
                return;
            if (onMessage)
                onMessage(message, QByteArray::fromStdString(message.toJson()));
        }
    }
}

void ControllerChannel::closeWith(const QString& reason) {
    if (m_closed)
        return;
    m_closed = true;
    m_socket.abort();
    if (onClose)
        onClose(reason);
}

} // namespace quillvane
