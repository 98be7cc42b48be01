#pragma once

#include <QHostAddress>
#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>

#include "web/HttpRequestReader.h"

class QSslSocket;

namespace quillvane {

// One HTTPS connection to the browser endpoint until it becomes a link or ends: it reads requests
// within a deadline, answers GETs for the page's files (kept alive for the next one), refuses
// everything else with its status, and hands a valid upgrade request on with the socket untouched
// (the request is only peeked at, so the WebSocket server reads it again). A GET of /link is
// handed on with its request read, to become an event stream; a POST to /link/<id> from the
// page's own origin is handed on with its body.
class WebConnection : public QObject {
public:
    WebConnection(qintptr descriptor, const QSslConfiguration& configuration, QString resourceRoot,
                  std::chrono::milliseconds deadline, int maximumRequests, QObject* parent = nullptr);
    ~WebConnection() override;

    // The socket, released to the caller; call once, from onUpgrade.
    std::unique_ptr<QSslSocket> takeSocket();
    const QString& userAgent() const { return m_userAgent; }
    QHostAddress peerAddress() const;
    // Ends the connection now.
    void abort();

    // A WebSocket upgrade from the page's own origin arrived.
    std::function<void()> onUpgrade;
    // A request for an event stream arrived; its head is read.
    std::function<void()> onEventStream;
    // A POST for the link `id` arrived, with its body; whether a link took it. Each one taken
    // gives the connection its deadline afresh and does not count against its requests.
    std::function<bool(const QString& id, const QByteArray& body)> onPost;
    // The connection ended (or was taken); the owner may delete it later.
    std::function<void()> onDone;

private:
    void readAvailable();
    // Takes a copy: the reader starts on the next request before this one is answered.
    void handle(HttpRequest request);
    void handlePost(const HttpRequest& request, const QString& target);
    bool fromOwnOrigin(const HttpRequest& request) const;
    void nextRequest();
    void respond(int status, const QByteArray& type, const QByteArray& body, bool keepAlive);
    // A plain-text answer that is the status's own reason phrase.
    void refuse(int status, bool keepAlive = false);
    void finish();

    std::unique_ptr<QSslSocket> m_socket;
    QString m_resourceRoot;
    HttpRequestReader m_reader;
    qint64 m_fed = 0; // bytes of the socket's buffer already given to the reader
    int m_requestsLeft;
    QString m_userAgent;
    std::chrono::milliseconds m_deadlineLength;
    QTimer m_deadline;
    bool m_done = false;
};

} // namespace quillvane
