#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <deque>
#include <functional>
#include <memory>

#include "ControllerChannel.h"
#include "ReplayPlayer.h"
#include "VoiceStreamer.h"
#include "pairing/ConnectionResume.h"
#include "pairing/PairingProfile.h"

namespace quillvane {

// The phone's side of a session: binds the control channel, then the audio channel, with the same
// client id; sends a heartbeat every second; runs commands once both channels are bound; and
// prints every message the host sends as "<channel> <json>".
class Controller : public QObject {
    Q_OBJECT
public:
    Controller(PairingProfile profile, Uuid client, QObject* parent = nullptr);

    void connectTo(const QString& host, quint16 port);
    // Queues one command line; commands run in order once the session is bound.
    void enqueue(const QString& line);
    // No more commands will come: finish the queue, wait `linger` seconds for answers, then quit.
    void finishInput(double linger);

    // Called instead of failing when the control channel cannot connect before anything was bound
    // (a stale DNS-SD record of a host that restarted); the owner may look for the host again.
    std::function<void(const QString& reason)> onUnreachable;
    // Called when a bound session was lost and is to be resumed: the owner finds the host again
    // and calls connectTo(); the queue waits meanwhile. Without it a loss ends the program.
    std::function<void(const QString& reason)> onLost;

    // Length of the chunks the voice command records, in milliseconds.
    void setChunkMs(int chunkMs) { m_chunkMs = chunkMs; }

    // Process exit status: 0 unless the session failed or a command was malformed.
    int exitStatus() const { return m_exitStatus; }

private:
    void bindControl();
    void bindAudio();
    void received(ControllerChannel& channel, const WireMessage& message, const QByteArray& json);
    void closed(ControllerChannel& channel, const QString& reason);
    void runQueue();
    void run(const QString& line);
    void fail(const QString& reason);
    void sendHeartbeat();
    void speak(const QString& path);
    void replay(const QString& path);
    // A wait, an utterance or a replay holds the queue.
    bool busy() const { return m_wait.isActive() || m_voice || m_replay; }

    PairingProfile m_profile;
    Uuid m_client;
    std::unique_ptr<ControllerChannel> m_control;
    std::unique_ptr<ControllerChannel> m_audio;
    QString m_host;
    quint16 m_port = 0;
    bool m_bound = false;
    bool m_resuming = false;
    bool m_finished = false;
    ConnectionResume m_resume;
    bool m_heartbeats = true;
    QTimer m_heartbeat;
    QTimer m_wait;
    std::deque<QString> m_queue;
    bool m_inputFinished = false;
    double m_linger = 0.5;
    int m_exitStatus = 0;
    int m_chunkMs = 100;
    std::unique_ptr<VoiceStreamer> m_voice; // the utterance being spoken; commands wait for it
    std::unique_ptr<ReplayPlayer> m_replay; // the trace being played; commands wait for it
};

} // namespace quillvane
