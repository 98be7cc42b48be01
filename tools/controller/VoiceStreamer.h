#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <vector>

#include "voice/OutgoingVoice.h"

namespace quillvane {

// Speaks recorded samples as the phone does while the user holds the button: voiceBegin, then one
// chunk every `chunkMs` in real time, held back by OutgoingVoice until the host answers
// voiceReady, then voiceEnd with the last sequence. Finished when the host answers voiceDone or
// failure for this utterance.
class VoiceStreamer : public QObject {
    Q_OBJECT
public:
    VoiceStreamer(std::vector<float> samples, int chunkMs, const Uuid& id, QObject* parent = nullptr);

    std::function<void(const WireMessage&)> sendControl;
    std::function<void(const WireMessage&)> sendAudio;
    // true when the host answered voiceDone.
    std::function<void(bool)> onFinished;
    // The phone's own refusal of its audio.
    std::function<void(const QString&)> onError;

    void start();
    // A message from the host; those of other utterances are ignored.
    void received(const WireMessage& message);

private:
    void capture();
    void send(const std::vector<WireMessage>& messages);

    std::vector<float> m_samples;
    std::size_t m_chunkSamples;
    std::size_t m_captured = 0;
    OutgoingVoice m_voice;
    QTimer m_clock;
    QElapsedTimer m_elapsed;
};

} // namespace quillvane
