#pragma once

#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>

#include "web/HttpRequestReader.h"

class QSslSocket;

namespace quillvane {

// One HTTPS connection to the browser endpoint until it becomes a WebSocket or ends: it reads
// requests within a deadline, answers GETs for the page's files (kept alive for the next one),
// refuses everything else with its status, and hands a valid upgrade request on with the socket
// untouched (the request is only peeked at, so the WebSocket server reads it again).
class WebConnection : public QObject {
public:
    WebConnection(qintptr descriptor, const QSslConfiguration& configuration, QString resourceRoot,
                  std::chrono::milliseconds deadline, int maximumRequests, QObject* parent = nullptr);
    ~WebConnection() override;

    // The socket, released to the caller; call once, from onUpgrade.
    std::unique_ptr<QSslSocket> takeSocket();
    const QString& userAgent() const { return m_userAgent; }
    // Ends the connection now.
    void abort();

    // A WebSocket upgrade from the page's own origin arrived.
    std::function<void()> onUpgrade;
    // The connection ended (or was taken); the owner may delete it later.
    std::function<void()> onDone;

private:
    void readAvailable();
    void handle(const HttpRequest& request);
    void respond(int status, const QByteArray& type, const QByteArray& body, bool keepAlive);
    void finish();

    std::unique_ptr<QSslSocket> m_socket;
    QString m_resourceRoot;
    HttpRequestReader m_reader;
    qint64 m_fed = 0; // bytes of the socket's buffer already given to the reader
    int m_requestsLeft;
    QString m_userAgent;
    QTimer m_deadline;
    bool m_done = false;
};

} // namespace quillvane
