#include "WebEndpoint.h"

#include <QLoggingCategory>
#include <QSslSocket>
#include <QWebSocket>
#include <QWebSocketServer>

#include "Random.h"
#include "net/LinkListener.h"
#include "web/BrowserRegistry.h"
#include "web/EventStreamLink.h"
#include "web/WebConnection.h"
#include "web/WebSocketLink.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcWeb, "app.quillvane.WebEndpoint", QtInfoMsg)

QString peerKey(const QHostAddress& address, quint16 port) {
    return address.toString() + QLatin1Char(' ') + QString::number(port);
}

} // namespace

WebEndpoint::WebEndpoint(WebIdentity identity, BrowserRegistry& registry, std::function<double()> uptime,
                         QString resourceRoot, QObject* parent)
    : QObject(parent), m_registry(registry), m_uptime(std::move(uptime)), m_resourceRoot(std::move(resourceRoot)),
      m_sockets(std::make_unique<QWebSocketServer>(QStringLiteral("Quillvane"), QWebSocketServer::NonSecureMode)) {
    m_configuration = QSslConfiguration::defaultConfiguration();
    m_configuration.setProtocol(QSsl::TlsV1_2OrLater);
    m_configuration.setLocalCertificate(identity.certificate);
    m_configuration.setPrivateKey(identity.key);
    m_configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    // HTTP/1.1 only: the WebSocket upgrade is an HTTP/1.1 request.
    m_configuration.setAllowedNextProtocols({QByteArray(QSslConfiguration::NextProtocolHttp1_1)});
    connect(m_sockets.get(), &QWebSocketServer::newConnection, this, &WebEndpoint::upgraded);
}

WebEndpoint::~WebEndpoint() { close(); }

bool WebEndpoint::listen(quint16 port) {
    close();
    // The listener's own TLS parameters stay unused: it only hands over descriptors here.
    m_listener = std::make_unique<LinkListener>(SecureLink::Parameters{});
    m_listener->onConnection = [this](qintptr descriptor) { accept(descriptor); };
    if ((port != 0 && m_listener->listen(QHostAddress::Any, port)) || m_listener->listen(QHostAddress::Any, 0)) {
        qCInfo(lcWeb, "Browser endpoint listening on port %u", m_listener->serverPort());
        return true;
    }
    qCWarning(lcWeb).noquote() << "Browser endpoint cannot listen:" << m_listener->errorString();
    m_listener.reset();
    return false;
}

quint16 WebEndpoint::port() const { return m_listener ? m_listener->serverPort() : 0; }

void WebEndpoint::close() {
    m_listener.reset();
    for (auto& connection : m_pending)
        if (connection)
            connection->deleteLater();
    m_pending.clear();
    m_userAgents.clear();
}

void WebEndpoint::closeBrowser(const QString& id) {
    for (const auto& link : m_links)
        if (link && (id.isEmpty() || link->browserId() == id))
            link->close(QStringLiteral("browser revoked"));
}

void WebEndpoint::accept(qintptr descriptor) {
    std::erase_if(m_pending, [](const QPointer<WebConnection>& connection) { return !connection; });
    if (m_pending.size() >= kMaximumPending) {
        if (auto oldest = m_pending.front()) {
            oldest->onDone = nullptr;
            oldest->abort();
            oldest->deleteLater();
        }
        m_pending.pop_front();
    }
    auto* connection = new WebConnection(descriptor, m_configuration, m_resourceRoot, kRequestDeadline,
                                         kMaximumRequests, this);
    QPointer<WebConnection> guard(connection);
    connection->onDone = [guard] {
        if (guard)
            guard->deleteLater();
    };
    connection->onUpgrade = [this, guard] {
        if (guard)
            upgrade(guard);
    };
    connection->onEventStream = [this, guard] {
        if (guard)
            openStream(guard);
    };
    connection->onPost = [this, guard](const QString& id, const QByteArray& body) {
        return guard && post(guard, id, body);
    };
    m_pending.push_back(guard);
}

void WebEndpoint::upgrade(WebConnection* connection) {
    std::unique_ptr<QSslSocket> socket = connection->takeSocket();
    // Entries of handshakes the WebSocket server dropped would otherwise stay.
    if (m_userAgents.size() >= kMaximumPending)
        m_userAgents.clear();
    m_userAgents[peerKey(socket->peerAddress(), socket->peerPort())] = connection->userAgent();
    connection->deleteLater();
    // The WebSocket server reads the request again from the socket and takes it over.
    m_sockets->handleConnection(socket.release());
}

void WebEndpoint::upgraded() {
    while (QWebSocket* raw = m_sockets->nextPendingConnection()) {
        std::unique_ptr<QWebSocket> socket(raw);
        const QString key = peerKey(socket->peerAddress(), socket->peerPort());
        const QString userAgent = m_userAgents.contains(key) ? m_userAgents.at(key) : QString();
        m_userAgents.erase(key);
        handOn(new WebSocketLink(std::move(socket), m_registry, userAgent, computerName, m_uptime));
    }
}

void WebEndpoint::openStream(WebConnection* connection) {
    const auto bytes = randomBytes(16);
    if (!bytes) {
        connection->abort();
        return;
    }
    const QString id = QString::fromLatin1(bytes->toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    const QString userAgent = connection->userAgent();
    std::unique_ptr<QSslSocket> socket = connection->takeSocket();
    connection->deleteLater();
    handOn(new EventStreamLink(std::move(socket), id, m_registry, userAgent, computerName, m_uptime));
}

bool WebEndpoint::post(WebConnection* connection, const QString& id, const QByteArray& body) {
    QPointer<EventStreamLink> link;
    for (const auto& known : m_links)
        if (auto* stream = qobject_cast<EventStreamLink*>(known.data()); stream && stream->id() == id)
            link = stream;
    // Only from where the stream went: the id alone, were it to leak, is not enough.
    if (!link || link->isClosed() || link->peerAddress() != connection->peerAddress())
        return false;
    link->post(body);
    // The link's own connection from now on (it stays the endpoint's child): a flood of
    // newcomers does not end it.
    if (link && link->isAuthenticated())
        std::erase(m_pending, QPointer<WebConnection>(connection));
    return true;
}

void WebEndpoint::handOn(BrowserLink* link) {
    link->onPaired = [this](const BrowserCredential& browser) {
        if (onRegistryChanged)
            onRegistryChanged();
        if (onBrowserPaired)
            onBrowserPaired(browser.name);
    };
    link->onAuthenticated = [this] {
        if (onRegistryChanged)
            onRegistryChanged();
    };
    std::erase_if(m_links, [](const QPointer<BrowserLink>& known) { return !known || known->isClosed(); });
    m_links.emplace_back(link);
    if (onLink)
        onLink(link);
    else
        delete link;
}

} // namespace quillvane
