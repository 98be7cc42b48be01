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

class BrowserRegistry;
class LinkListener;
class WebConnection;
class WebSocketLink;

// The browser controller's endpoint: HTTPS on one port with the endpoint's own certificate. A
// GET for one of the page's files (embedded under `resourceRoot`) is answered with the file and
// a strict Content-Security-Policy; a GET of /ws from the page's own origin becomes a WebSocket
// and is handed on as a WebSocketLink, not started, for the session's admission. Everything else
// gets its status and the connection closes. Connections that have not become a WebSocket are
// bounded in number and time, so a flood of them costs little and ends by itself.
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

    // A new WebSocket link, not started; the receiver takes ownership.
    std::function<void(WebSocketLink* link)> onLink;
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

    QSslConfiguration m_configuration;
    BrowserRegistry& m_registry;
    std::function<double()> m_uptime;
    QString m_resourceRoot;
    std::unique_ptr<LinkListener> m_listener;
    std::unique_ptr<QWebSocketServer> m_sockets;
    std::deque<QPointer<WebConnection>> m_pending;
    std::vector<QPointer<WebSocketLink>> m_links;
    // User agents of sockets handed to the WebSocket server, by peer address and port, until it
    // hands them back as WebSockets.
    std::map<QString, QString> m_userAgents;
};

} // namespace quillvane
