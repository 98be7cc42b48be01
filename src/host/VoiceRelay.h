#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>

#include "AudioSink.h"
#include "InputSink.h"
#include "protocol/WireMessage.h"
#include "voice/VoiceSession.h"

namespace quillvane {

class Clock;
class ControllerSession;
class HostSettings;

// The host's voice path: one utterance at a time, from `voiceBegin` to `voiceDone`. It checks the
// chosen output and the virtual microphone, presses the dictation shortcut, admits each audio
// packet through the VoiceSession rules, plays it, and releases the shortcut when the last
// buffer has played (or the utterance is abandoned). It takes `voiceBegin` on the control channel
// and everything on the audio channel from the session's routing table, answers the phone on the
// session's control channel itself, and fails the session when the utterance breaks.
class VoiceRelay : public QObject {
    Q_OBJECT
public:
    // Routes its kinds in `session`, which must outlive the relay.
    VoiceRelay(ControllerSession& session, const HostSettings& settings, InputSink& input,
               AudioSink& audio, MicrophoneInspector& microphone, Clock& clock,
               QObject* parent = nullptr);
    ~VoiceRelay() override;

    // `voiceBegin` on the control channel. Throws PadError when the utterance cannot start.
    void begin(const WireMessage& message);
    // `audio` and `voiceEnd` (and anything else) on the audio channel. Every refusal is logged
    // with the utterance's progress and thrown.
    void receive(const WireMessage& message);
    // Ends the utterance now: shortcut released, output stopped, the phone told `reason` if given.
    void abort(const std::optional<QString>& reason);
    // The periodic check: the progress line every ten seconds, and the staleness limit.
    void tick();

    // The device the voice plays into: the saved choice, else the virtual microphone's own.
    static std::string preferredDevice(const std::string& saved,
                                       const std::vector<OutputDevice>& devices);

    std::optional<Uuid> session() const { return m_voice.id(); }
    bool speaking() const { return m_voice.id().has_value(); }
    QString progress() const;

Q_SIGNALS:
    void speakingChanged(bool speaking);
    // `voiceReady` has been sent: the phone is now streaming.
    void receiving();

private:
    void receiveAudio(const WireMessage& message);
    void finish(const Uuid& id);
    void logRejected(const QString& detail) const;
    double now() const;

    ControllerSession& m_session;
    const HostSettings& m_settings;
    InputSink& m_input;
    AudioSink& m_audio;
    MicrophoneInspector& m_microphone;
    Clock& m_clock;

    VoiceSession m_voice;
    std::optional<double> m_startedAt;
    std::optional<Uuid> m_finishingID;
    std::int64_t m_acceptedFrames = 0;
    std::int64_t m_acceptedSamples = 0;
    std::int64_t m_completedSamples = 0;
    double m_lastProgressAt = 0;
};

} // namespace quillvane
