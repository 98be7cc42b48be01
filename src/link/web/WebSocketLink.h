#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "net/Link.h"

class QWebSocket;

namespace quillvane {

class BrowserRegistry;
struct BrowserCredential;

// The host's end of one WebSocket with a paired browser. Before anything else both sides prove
// the browser's credential (BrowserProof): the host sends a nonce, the page answers with its
// credential id, its own nonce and its proof, the host answers with its own proof. A page that
// holds a pairing token first redeems it on the same socket for a new credential. Until the
// proofs are through, text frames are these JSON steps; afterwards one text frame is one
// WireMessage each way, and the session sees a link like any other.
//
//   host: {"type":"challenge","nonce":B64}
//   page: {"type":"pair","token":T}            (only to pair)
//   host: {"type":"credential","id":I,"secret":B64}
//   page: {"type":"prove","id":I,"nonce":B64,"proof":B64}
//   host: {"type":"proven","proof":B64}
//
// Anything else before that, a wrong proof, a revoked id, or no proof within kProofDeadline
// closes the socket.
class WebSocketLink final : public Link {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kProofDeadline{3000};
    // Larger than any WireMessage the session accepts (a 4,800-sample audio packet in base64).
    static constexpr qint64 kMaximumMessage = 65536;

    // Takes ownership of an open socket. `registry` outlives the link; `userAgent` names a
    // browser that pairs on this socket; `computerName` is told to a browser once it proved
    // itself, for the page to show which computer it controls.
    WebSocketLink(std::unique_ptr<QWebSocket> socket, BrowserRegistry& registry, QString userAgent,
                  QString computerName, std::function<double()> uptime, QObject* parent = nullptr);
    ~WebSocketLink() override;

    QHostAddress peerAddress() const override { return m_peer; }
    bool isAuthenticated() const override { return m_authenticated; }
    bool isClosed() const override { return m_closed; }
    bool isSilent() const override { return !m_spoke; }
    void start() override;
    void send(const WireMessage& message) override;
    void close(std::optional<QString> reason = {}) override;

    // The credential this link proved, once authenticated.
    const QString& browserId() const { return m_browserId; }

    // A browser paired on this link (the registry holds it already; the owner saves it).
    std::function<void(const BrowserCredential&)> onPaired;
    // The link proved a credential (the owner saves when it was last seen).
    std::function<void()> onAuthenticated;

private:
    void handleText(const QString& text);
    void handleStep(const QByteArray& text);
    void refuse(const QString& reason);
    void sendStep(const QByteArray& json);

    std::unique_ptr<QWebSocket> m_socket;
    BrowserRegistry& m_registry;
    QString m_userAgent;
    QString m_computerName;
    std::function<double()> m_uptime;
    QHostAddress m_peer;
    QByteArray m_hostNonce;
    QString m_browserId;
    QTimer m_proofTimer;
    bool m_started = false;
    bool m_spoke = false;
    bool m_paired = false;
    bool m_authenticated = false;
    bool m_closed = false;
};

} // namespace quillvane
