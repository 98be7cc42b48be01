#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ControllerChannel.h"
#include "pairing/PairingProfile.h"

namespace quillvane::bench {

// The phone's side of one session as the benchmarks drive it: binds the control channel, then the
// audio channel with the same client id, each step started from the previous step's callback so
// that nothing but the exchange itself lies between the first connect and the last welcome.
// Keeps what the host says back: heartbeat answers, failures, and any channel the host closed.
class SessionClient : public QObject {
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;

    SessionClient(PairingProfile profile, QString host, quint16 port, QObject* parent = nullptr);

    // Connects the control channel; bindStarted() is taken just before.
    void bind();
    bool isBound() const { return m_boundAt.has_value(); }
    Clock::time_point bindStarted() const { return m_bindStarted; }
    // When the audio channel's welcome was read.
    std::optional<Clock::time_point> boundAt() const { return m_boundAt; }

    // A heartbeat on the control channel every second from now on, as the phone sends them.
    void startHeartbeats();
    // One heartbeat now. The host answers heartbeats in order on the stream that carries
    // everything else, so once all are answered, all sent before the last one have been handled.
    void sendHeartbeat();
    bool heartbeatsAnswered() const { return m_heartbeatAnswers >= m_heartbeatsSent; }
    // Sends on the control channel.
    void send(const WireMessage& message);
    // Closes only the control channel; the host answers by closing the audio channel.
    void closeControl();
    void close();

    // Why the host (or the network) ended a channel; absent while it is open or closed by us.
    const std::optional<QString>& controlLost() const { return m_controlLost; }
    const std::optional<QString>& audioLost() const { return m_audioLost; }
    bool lost() const { return m_controlLost || m_audioLost; }

    int heartbeatAnswers() const { return m_heartbeatAnswers; }
    const std::vector<std::string>& failures() const { return m_failures; }

private:
    std::unique_ptr<ControllerChannel> makeChannel(const char* name);
    void sendHello(ControllerChannel& channel, const char* name);
    void received(const ControllerChannel& channel, const WireMessage& message);

    PairingProfile m_profile;
    QString m_host;
    quint16 m_port;
    Uuid m_client;
    std::unique_ptr<ControllerChannel> m_control;
    std::unique_ptr<ControllerChannel> m_audio;
    QTimer m_heartbeat;
    Clock::time_point m_bindStarted;
    std::optional<Clock::time_point> m_boundAt;
    std::optional<QString> m_controlLost;
    std::optional<QString> m_audioLost;
    int m_heartbeatsSent = 0;
    int m_heartbeatAnswers = 0;
    std::vector<std::string> m_failures;
};

} // namespace quillvane::bench
