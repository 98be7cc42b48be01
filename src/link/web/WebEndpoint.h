#pragma once

#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <QSslConfiguration>
#include <QString>

#include <chrono>
#include <deque>
#include <map>
#include <vector>
#include <functional>
#include <memory>

#include "web/WebIdentity.h"

class QSslSocket;
class QWebSocketServer;

namespace quillvane {

class BrowserLink;
class BrowserRegistry;
class EventStreamLink;
class LinkListener;
class WebConnection;

// The browser controller's endpoint: HTTPS on one port with the endpoint's own certificate. A
// GET for one of the page's files (embedded under `resourceRoot`) is answered with the file and
// a strict Content-Security-Policy; a GET of /ws from the page's own origin becomes a WebSocket
// and is handed on as a WebSocketLink, not started, for the session's admission; a GET of /link
// becomes an EventStreamLink, handed on the same way, and POSTs to /link/<id> feed it. Everything
// else gets its status and the connection closes. Connections that have not become a link are
// bounded in number and time, so a flood of them costs little and ends by itself; one that
// carries an authenticated link's POSTs is the link's and no longer counted.
class WebEndpoint : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kRequestDeadline{10000};
    // Connections still in TLS or HTTP; a newcomer beyond it ends the oldest.
    static constexpr std::size_t kMaximumPending = 32;
    // Requests one kept-alive connection may make (the page's files).
    static constexpr int kMaximumRequests = 32;

    WebEndpoint(WebIdentity identity, BrowserRegistry& registry, std::function<double()> uptime,
                QString resourceRoot = QStringLiteral(":/web"), QObject* parent = nullptr);
    ~WebEndpoint() override;

    // Listens on every address at `port`, or on a port the system chooses when that one is taken
    // (or 0). Returns false when neither works.
    bool listen(quint16 port);
    quint16 port() const;
    void close();
    // Ends the WebSockets of a revoked browser (every browser's when `id` is empty).
    void closeBrowser(const QString& id);

    // A new browser link, not started; the receiver takes ownership.
    std::function<void(BrowserLink* link)> onLink;
    // A browser paired, or one proved its credential: the registry changed and wants saving.
    std::function<void()> onRegistryChanged;
    // This computer's name, for the page to show once a browser proved itself.
    QString computerName;
    // The newly paired browser's name (the tray tells the user).
    std::function<void(const QString& name)> onBrowserPaired;

private:
    void accept(qintptr descriptor);
    void upgrade(WebConnection* connection);
    void upgraded();
    void openStream(WebConnection* connection);
    bool post(WebConnection* connection, const QString& id, const QByteArray& body);
    void handOn(BrowserLink* link);

    QSslConfiguration m_configuration;
    BrowserRegistry& m_registry;
    std::function<double()> m_uptime;
    QString m_resourceRoot;
    std::unique_ptr<LinkListener> m_listener;
    std::unique_ptr<QWebSocketServer> m_sockets;
    std::deque<QPointer<WebConnection>> m_pending;
    std::vector<QPointer<BrowserLink>> m_links;
    // User agents of sockets handed to the WebSocket server, by peer address and port, until it
    // hands them back as WebSockets.
    std::map<QString, QString> m_userAgents;
};

} // namespace quillvane
