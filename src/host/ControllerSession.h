#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "net/Link.h"
#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"

namespace quillvane {

class Clock;
class InputSink;
class LinkReception;
class VoiceRelay;

// One controller at a time, over links of any transport: binds its control and then its audio
// channel by their hello, keeps it by its heartbeats, drops it (and everything it held) when a
// channel closes or the heartbeats stop, and hands every other message to the handler that the
// routing table names for its channel and kind. A handler's refusal takes the rejection path:
// an unbound link is closed, a bound controller is told in a `failure` and the session goes on.
class ControllerSession : public QObject {
    Q_OBJECT

public:
    enum class Channel { control, audio };
    using Handler = std::function<void(const WireMessage&)>;

    static constexpr double heartbeatLimit = 4.0;

    // `input` may be absent (a host that posts nothing); `doubleClickInterval` is the desktop's,
    // in seconds, told to the controller in every welcome and heartbeat.
    ControllerSession(Clock& clock, InputSink* input, std::function<double()> doubleClickInterval,
                      QObject* parent = nullptr);

    // Routes `kind` on `channel` to `handler`; without a kind, every kind the table has no other
    // entry for. A gated handler is skipped, unanswered, while an utterance is spoken.
    void route(Channel channel, std::optional<WireMessage::Kind> kind, Handler handler,
               bool gated = true);
    // The voice path, when there is one: it gates input, and goes with the controller.
    void setVoice(VoiceRelay* voice) { m_voice = voice; }

    // Takes the messages and the closes of every link `reception` admits, and holds the links
    // it binds clear of the reception's deadline.
    void serve(LinkReception& reception);
    // A message from, and the close of, an admitted link.
    void receive(Link& link, const WireMessage& message);
    void closed(Link& link, const std::optional<QString>& reason);
    bool isBound(const Link& link) const { return &link == m_control || &link == m_audio; }

    // Drops the controller: both channels closed, the utterance abandoned, everything released.
    void disconnect();
    // The once-a-second check of the heartbeat and of the utterance.
    void tick();
    // The failure path: `reason` becomes the issue, the utterance is abandoned, every key and
    // button is released, and the controller is sent a `failure` naming the utterance.
    void fail(const QString& reason);
    // Sends on the bound control channel; nothing when there is none.
    void sendControl(const WireMessage& message);

    bool controlBound() const { return m_control != nullptr; }
    // Both channels are bound.
    bool connected() const { return m_control && m_audio; }

Q_SIGNALS:
    // A channel was bound or the controller dropped: controlBound() or connected() may differ.
    void bindingChanged();
    // A problem for the user to see.
    void issueRaised(const QString& issue);

private:
    struct Route {
        Handler handle;
        bool gated = true;
    };

    void handshake(Link& link, const WireMessage& message);
    void dispatch(Link& link, const WireMessage& message);
    void reject(Link& link, WireMessage::Kind kind, const QString& reason);
    void cancel();
    void heartbeat();
    bool speaking() const;
    void releaseAll();

    Clock& m_clock;
    InputSink* m_input;
    std::function<double()> m_doubleClickInterval;
    VoiceRelay* m_voice = nullptr;
    std::map<std::pair<Channel, std::optional<WireMessage::Kind>>, Route> m_routes;

    QPointer<Link> m_control;
    QPointer<Link> m_audio;
    std::optional<Uuid> m_clientID;
    double m_heartbeat = 0;
};

} // namespace quillvane
