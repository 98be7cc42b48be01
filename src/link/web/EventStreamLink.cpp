#include "EventStreamLink.h"

#include <QJsonObject>
#include <QSslSocket>

namespace quillvane {

EventStreamLink::EventStreamLink(std::unique_ptr<QSslSocket> socket, QString id, BrowserRegistry& registry,
                                 QString userAgent, QString computerName, std::function<double()> uptime,
                                 QObject* parent)
    : BrowserLink(registry, socket->peerAddress(), std::move(userAgent), std::move(computerName), std::move(uptime),
                  parent),
      m_socket(std::move(socket)), m_id(std::move(id)) {
    m_socket->setParent(nullptr);
}

EventStreamLink::~EventStreamLink() {
    m_socket->disconnect(this);
    m_socket->abort();
}

void EventStreamLink::start() {
    if (isClosed())
        return;
    connect(m_socket.get(), &QSslSocket::disconnected, this, [this] { close(); });
    connect(m_socket.get(), &QSslSocket::errorOccurred, this, [this] { close(); });
    // The page sends nothing more on this connection; bytes that come are not a browser's.
    connect(m_socket.get(), &QSslSocket::readyRead, this, [this] { close(QStringLiteral("bytes on the event stream")); });
    m_socket->write("HTTP/1.1 200 OK\r\n"
                    "Content-Type: text/event-stream\r\n"
                    "Cache-Control: no-store\r\n"
                    "X-Content-Type-Options: nosniff\r\n"
                    "Referrer-Policy: no-referrer\r\n"
                    "\r\n");
    BrowserLink::start();
}

void EventStreamLink::post(const QByteArray& body) {
    for (const QByteArray& text : body.split('\n')) {
        if (isClosed())
            return;
        if (!text.isEmpty())
            receiveText(text);
    }
}

void EventStreamLink::describeChallenge(QJsonObject& challenge) const {
    challenge.insert(QStringLiteral("link"), m_id);
}

// Compact JSON holds no line break, so a text is always one data line.
void EventStreamLink::sendText(const QByteArray& text) { m_socket->write("data: " + text + "\n\n"); }

void EventStreamLink::endTransport() {
    m_socket->disconnect(this);
    m_socket->disconnectFromHost();
}

} // namespace quillvane
