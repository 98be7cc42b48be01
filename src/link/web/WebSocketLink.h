#pragma once

#include <memory>

#include "web/BrowserLink.h"

class QWebSocket;

namespace quillvane {

// A browser link over one WebSocket: one text frame is one text each way.
class WebSocketLink final : public BrowserLink {
    Q_OBJECT

public:
    // Larger than any WireMessage the session accepts (a 4,800-sample audio packet in base64).
    static constexpr qint64 kMaximumMessage = 65536;

    // Takes ownership of an open socket; the rest as BrowserLink's.
    WebSocketLink(std::unique_ptr<QWebSocket> socket, BrowserRegistry& registry, QString userAgent,
                  QString computerName, std::function<double()> uptime, QObject* parent = nullptr);
    ~WebSocketLink() override;

    void start() override;

private:
    void sendText(const QByteArray& text) override;
    void endTransport() override;

    std::unique_ptr<QWebSocket> m_socket;
};

} // namespace quillvane
