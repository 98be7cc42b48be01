#include "VoiceStreamer.h"

#include <algorithm>
#include <cstring>

namespace quillvane {

VoiceStreamer::VoiceStreamer(std::vector<float> samples, int chunkMs, const Uuid& id, QObject* parent)
    : QObject(parent), m_samples(std::move(samples)),
      m_chunkSamples(static_cast<std::size_t>(std::max(chunkMs, 1)) * 24), m_voice(id) {
    m_clock.setTimerType(Qt::PreciseTimer);
    m_clock.setInterval(std::max(chunkMs / 4, 1));
    connect(&m_clock, &QTimer::timeout, this, &VoiceStreamer::capture);
}

void VoiceStreamer::start() {
    WireMessage begin(WireMessage::Kind::voiceBegin);
    begin.session = m_voice.id();
    sendControl(begin);
    m_elapsed.start();
    m_clock.start();
}

// A chunk is "recorded" once its whole duration has passed since the start, as a microphone
// delivers it.
void VoiceStreamer::capture() {
    const auto due = static_cast<std::size_t>(m_elapsed.nsecsElapsed() / 1'000'000 * 24);
    try {
        while (m_captured < m_samples.size()) {
            const std::size_t count = std::min(m_chunkSamples, m_samples.size() - m_captured);
            if (m_captured + count > due)
                return;
            Bytes chunk(count * 4);
            std::memcpy(chunk.data(), m_samples.data() + m_captured, chunk.size());
            m_captured += count;
            send(m_voice.append(std::move(chunk)));
        }
        m_clock.stop();
        send(m_voice.finish());
    } catch (const std::exception& error) {
        // The phone gives up the utterance (a host too slow to get ready, say) and says why.
        m_clock.stop();
        if (onError)
            onError(QString::fromUtf8(error.what()));
        if (onFinished)
            onFinished(false);
    }
}

void VoiceStreamer::received(const WireMessage& message) {
    if (message.session != m_voice.id())
        return;
    switch (message.kind) {
    case WireMessage::Kind::voiceReady:
        send(m_voice.markReady());
        return;
    case WireMessage::Kind::voiceDone:
    case WireMessage::Kind::failure:
        m_clock.stop();
        if (onFinished)
            onFinished(message.kind == WireMessage::Kind::voiceDone);
        return;
    default:
        return;
    }
}

void VoiceStreamer::send(const std::vector<WireMessage>& messages) {
    for (const auto& message : messages)
        sendAudio(message);
}

} // namespace quillvane
