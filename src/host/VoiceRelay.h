#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

#include "AudioSink.h"
#include "InputSink.h"
#include "protocol/WireMessage.h"
#include "voice/VoiceSession.h"
#include "voice/VoiceShortcutMode.h"

namespace quillvane {

// The host's voice path: one utterance at a time, from `voiceBegin` to `voiceDone`. It checks the
// chosen output and the virtual microphone, presses the dictation shortcut, admits each audio
// packet through the VoiceSession rules, plays it, and releases the shortcut when the last
// buffer has played (or the utterance is abandoned). Messages for the phone go out through
// `sendControl`; problems the host must report arrive as `failed`.
class VoiceRelay : public QObject {
    Q_OBJECT
public:
    struct Shortcut {
        std::int64_t code = 49;
        std::uint64_t modifiers = 0xC0000;
        VoiceShortcutMode mode = VoiceShortcutMode::hold;
    };

    VoiceRelay(InputSink& input, AudioSink& audio, MicrophoneInspector& microphone,
               std::function<double()> uptime, QObject* parent = nullptr);
    ~VoiceRelay() override;

    // Sends on the controller's control channel when one is bound.
    std::function<void(const WireMessage&)> sendControl;

    // `voiceBegin` on the control channel. Throws PadError when the utterance cannot start.
    void begin(const WireMessage& message, const std::string& deviceUID, const Shortcut& shortcut,
               double prepDelay);
    // `audio` and `voiceEnd` (and anything else) on the audio channel. Every refusal is logged
    // with the utterance's progress and thrown.
    void receive(const WireMessage& message);
    // Ends the utterance now: shortcut released, output stopped, the phone told `reason` if given.
    void abort(const std::optional<QString>& reason);
    // The periodic check: the progress line every ten seconds, and the staleness limit.
    void tick(double now);

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
    // The utterance must be failed with this text (the host's rejection path does it).
    void failed(const QString& reason);

private:
    void receiveAudio(const WireMessage& message);
    void finish(const Uuid& id);
    void logRejected(const QString& detail) const;
    double now() const { return m_uptime(); }

    InputSink& m_input;
    AudioSink& m_audio;
    MicrophoneInspector& m_microphone;
    std::function<double()> m_uptime;

    VoiceSession m_voice;
    std::optional<double> m_startedAt;
    std::optional<Uuid> m_finishingID;
    std::int64_t m_acceptedFrames = 0;
    std::int64_t m_acceptedSamples = 0;
    std::int64_t m_completedSamples = 0;
    double m_lastProgressAt = 0;
};

} // namespace quillvane
