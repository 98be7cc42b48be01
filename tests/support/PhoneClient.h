#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ControllerChannel.h"
#include "pairing/PairingProfile.h"

namespace quillvane::testing_support {

// The phone's side of one session, as tests and benchmarks drive it: binds the control channel,
// then the audio channel with the same client id, each step started from the previous step's
// callback so that nothing but the exchange itself lies between the first connect and the last
// welcome. Keeps everything the host sends per channel, and why a channel ended.
class PhoneClient : public QObject {
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;

    PhoneClient(PairingProfile profile, quint16 port,
                QString host = QStringLiteral("127.0.0.1"));

    // Binds and waits until both channels are welcomed or one ends; whether both were.
    // bindStarted() is taken just before the control channel connects.
    bool bind(std::chrono::milliseconds limit = std::chrono::seconds(20));
    bool isBound() const { return m_boundAt.has_value(); }
    Clock::time_point bindStarted() const { return m_bindStarted; }
    // When the audio channel's welcome was read.
    std::optional<Clock::time_point> boundAt() const { return m_boundAt; }

    ControllerChannel& control() { return *m_control; }
    ControllerChannel& audio() { return *m_audio; }
    void send(const WireMessage& message) { m_control->send(message); }

    // A heartbeat on the control channel every second from now on, as the phone sends them.
    void startHeartbeats() { m_heartbeat.start(); }
    // One heartbeat now. The host answers heartbeats in order on the stream that carries
    // everything else, so once all are answered, all sent before the last one have been handled.
    void sendHeartbeat();
    bool heartbeatsAnswered() const { return heartbeatAnswers() >= m_heartbeatsSent; }
    int heartbeatAnswers() const;
    // What the host sent on the channel so far, in order.
    const std::vector<WireMessage>& received(const ControllerChannel& channel) const;
    // The texts of the failures the host sent.
    std::vector<std::string> failures() const;

    // Waits for a message of this kind on the channel, after the first `skip` of that kind; gives
    // up when the channel ends.
    std::optional<WireMessage> await(ControllerChannel& channel, WireMessage::Kind kind,
                                     std::size_t skip = 0, int timeoutMs = 20'000);
    bool awaitClosed(ControllerChannel& channel, int timeoutMs = 20'000);

    // Closes only the control channel; the host answers by closing the audio channel.
    void closeControl();
    void close();

    // Why the host (or the network) ended a channel; absent while it is open or closed by us.
    std::optional<QString> lost(const ControllerChannel& channel) const;
    std::optional<QString> controlLost() const { return lost(*m_control); }
    std::optional<QString> audioLost() const { return lost(*m_audio); }
    bool lost() const { return controlLost() || audioLost(); }
    bool isClosed(const ControllerChannel& channel) const { return lost(channel).has_value(); }

private:
    std::unique_ptr<ControllerChannel> makeChannel(const char* name);
    std::size_t count(const ControllerChannel& channel, WireMessage::Kind kind) const;

    PairingProfile m_profile;
    QString m_host;
    quint16 m_port;
    Uuid m_client;
    std::unique_ptr<ControllerChannel> m_control;
    std::unique_ptr<ControllerChannel> m_audio;
    QTimer m_heartbeat;
    Clock::time_point m_bindStarted;
    std::optional<Clock::time_point> m_boundAt;
    int m_heartbeatsSent = 0;
    std::map<const ControllerChannel*, std::vector<WireMessage>> m_received;
    std::map<const ControllerChannel*, QString> m_lost;
};

} // namespace quillvane::testing_support
