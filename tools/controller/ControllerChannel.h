#pragma once

#include <QObject>
#include <QSslSocket>

#include <array>
#include <functional>

#include "protocol/FrameDecoder.h"
#include "protocol/Uuid.h"

namespace quillvane {

// One TLS-PSK connection of the controller (the phone's side): connects, frames outgoing messages
// and decodes incoming ones. A decoding failure closes the connection, as on the host.
class ControllerChannel : public QObject {
    Q_OBJECT
public:
    ControllerChannel(QString name, Uuid identity, std::array<std::uint8_t, 32> key,
                      QObject* parent = nullptr);
    // The socket, a member, is destroyed after this body and may still report its disconnection
    // on the way; nothing of the channel is there to take it by then.
    ~ControllerChannel() override { m_socket.disconnect(this); }

    void connectTo(const QString& host, quint16 port);
    void send(const WireMessage& message);
    // A frame around any payload, unchecked (for testing the host's refusals).
    void sendRaw(const QByteArray& payload);
    // Bytes as they are, no framing.
    void sendRawBytes(const char* bytes, qint64 count);
    void close();
    bool isEncrypted() const { return m_socket.isEncrypted(); }
    // The host closed the connection (it dropped this phone, or it stopped), rather than the
    // network failing under it.
    bool endedByHost() const { return m_endedByHost; }
    const QString& name() const { return m_name; }

    std::function<void()> onReady;
    std::function<void(const WireMessage&, const QByteArray& json)> onMessage;
    std::function<void(const QString& reason)> onClose;

private:
    void readAvailable();
    void closeWith(const QString& reason);

    QString m_name;
    Uuid m_identity;
    std::array<std::uint8_t, 32> m_key;
    QSslSocket m_socket;
    FrameDecoder m_decoder;
    bool m_closed = false;
    bool m_endedByHost = false;
};

} // namespace quillvane
