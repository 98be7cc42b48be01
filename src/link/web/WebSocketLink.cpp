#include "WebSocketLink.h"

#include <QWebSocket>

namespace quillvane {

WebSocketLink::WebSocketLink(std::unique_ptr<QWebSocket> socket, BrowserRegistry& registry, QString userAgent,
                             QString computerName, std::function<double()> uptime, QObject* parent)
    : BrowserLink(registry, socket->peerAddress(), std::move(userAgent), std::move(computerName), std::move(uptime),
                  parent),
      m_socket(std::move(socket)) {
    m_socket->setParent(nullptr);
    m_socket->setMaxAllowedIncomingMessageSize(kMaximumMessage);
    m_socket->setMaxAllowedIncomingFrameSize(kMaximumMessage);
}

WebSocketLink::~WebSocketLink() {
    m_socket->disconnect(this);
    m_socket->abort();
}

void WebSocketLink::start() {
    if (isClosed())
        return;
    connect(m_socket.get(), &QWebSocket::textMessageReceived, this,
            [this](const QString& text) { receiveText(text.toUtf8()); });
    connect(m_socket.get(), &QWebSocket::binaryMessageReceived, this,
            [this] { refuse(QStringLiteral("binary frame")); });
    connect(m_socket.get(), &QWebSocket::disconnected, this, [this] { close(); });
    BrowserLink::start();
}

void WebSocketLink::sendText(const QByteArray& text) { m_socket->sendTextMessage(QString::fromUtf8(text)); }

void WebSocketLink::endTransport() {
    m_socket->disconnect(this);
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->close(refused() ? QWebSocketProtocol::CloseCodePolicyViolated : QWebSocketProtocol::CloseCodeNormal);
}

} // namespace quillvane
