#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

#include "net/Link.h"

class QJsonObject;

namespace quillvane {

class BrowserRegistry;
struct BrowserCredential;

// The host's end of one link with a paired browser, whatever carries its texts. Before anything
// else both sides prove the browser's credential (BrowserProof): the host sends a nonce, the page
// answers with its credential id, its own nonce and its proof, the host answers with its own
// proof. A page that holds a pairing token first redeems it on the same link for a new
// credential. Until the proofs are through, texts are these JSON steps; afterwards one text is one
// WireMessage each way, and the session sees a link like any other.
//
//   host: {"type":"challenge","nonce":B64}
//   page: {"type":"pair","token":T}            (only to pair)
//   host: {"type":"credential","id":I,"secret":B64}
//   page: {"type":"prove","id":I,"nonce":B64,"proof":B64}
//   host: {"type":"proven","proof":B64}
//
// Anything else before that, a wrong proof, a revoked id, or no proof within kProofDeadline
// closes the link. A derived class carries the texts: it hands each one in to receiveText() and
// sends what sendText() is given.
class BrowserLink : public Link {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kProofDeadline{3000};

    ~BrowserLink() override;

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

protected:
    // `registry` outlives the link; `userAgent` names a browser that pairs on it; `computerName`
    // is told to a browser once it proved itself, for the page to show which computer it controls.
    BrowserLink(BrowserRegistry& registry, QHostAddress peer, QString userAgent, QString computerName,
                std::function<double()> uptime, QObject* parent);

    // One text from the page, in order.
    void receiveText(const QByteArray& text);
    // Tells the page why and ends the link.
    void refuse(const QString& reason);
    // Whether the link ends because the page was refused.
    bool refused() const { return m_refused; }

    // Fields of the transport's own in the challenge.
    virtual void describeChallenge(QJsonObject& challenge) const;
    virtual void sendText(const QByteArray& text) = 0;
    // Ends the transport, once, when the link closes.
    virtual void endTransport() = 0;

private:
    void handleStep(const QByteArray& text);
    void sendStep(const QJsonObject& step);

    BrowserRegistry& m_registry;
    QHostAddress m_peer;
    QString m_userAgent;
    QString m_computerName;
    std::function<double()> m_uptime;
    QByteArray m_hostNonce;
    QString m_browserId;
    QTimer m_proofTimer;
    bool m_started = false;
    bool m_spoke = false;
    bool m_paired = false;
    bool m_authenticated = false;
    bool m_refused = false;
    bool m_closed = false;
};

} // namespace quillvane
