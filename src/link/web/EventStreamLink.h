#pragma once

#include <memory>

#include "web/BrowserLink.h"

class QSslSocket;

namespace quillvane {

// A browser link for a browser that will not open a WebSocket to this endpoint's certificate but
// does make plain requests to it: the host's texts go down one long response, an event stream
// (one event's data per text), and the page's come up in POST requests to /link/<id>, several in
// order in one body, one per line. The first event, the challenge, tells the page the link's id,
// which only that page can read.
class EventStreamLink final : public BrowserLink {
    Q_OBJECT

public:
    // Takes ownership of the connection that asked for the stream, its request already read;
    // `id` names the link in the page's POSTs. The rest as BrowserLink's.
    EventStreamLink(std::unique_ptr<QSslSocket> socket, QString id, BrowserRegistry& registry,
                    QString userAgent, QString computerName, std::function<double()> uptime,
                    QObject* parent = nullptr);
    ~EventStreamLink() override;

    const QString& id() const { return m_id; }
    void start() override;
    // The texts of one POST's body, in order; each line is one.
    void post(const QByteArray& body);

private:
    void describeChallenge(QJsonObject& challenge) const override;
    void sendText(const QByteArray& text) override;
    void endTransport() override;

    std::unique_ptr<QSslSocket> m_socket;
    QString m_id;
};

} // namespace quillvane
