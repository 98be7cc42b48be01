#include "voice/OutgoingVoice.h"

#include "protocol/PadError.h"

namespace quillvane {

std::vector<WireMessage> OutgoingVoice::append(Bytes data) {
    // Chunks the recorder delivers after the user let go belong to no utterance any more.
    if (m_finished)
        return {};
    if (data.empty() || data.size() % 4 != 0 || data.size() > maximumChunkBytes)
        throw PadError::invalid("无效音频分包");
    if (!m_isReady) {
        const auto size = static_cast<std::int64_t>(data.size());
        if (m_pendingBytes + size > maximumPendingBytes)
            throw PadError::invalid("电脑启动过慢，音频缓冲已满");
        m_pendingBytes += size;
        m_pending.push_back(std::move(data));
        return {};
    }
    std::vector<WireMessage> messages;
    messages.push_back(audioMessage(std::move(data)));
    return messages;
}

std::vector<WireMessage> OutgoingVoice::markReady() {
    m_isReady = true;
    std::vector<WireMessage> messages;
    messages.reserve(m_pending.size() + 1);
    for (Bytes& chunk : m_pending)
        messages.push_back(audioMessage(std::move(chunk)));
    m_pending.clear();
    m_pendingBytes = 0;
    if (m_finished)
        appendEndMarker(messages);
    return messages;
}

std::vector<WireMessage> OutgoingVoice::finish() {
    m_finished = true;
    std::vector<WireMessage> messages;
    if (m_isReady)
        appendEndMarker(messages);
    return messages;
}

WireMessage OutgoingVoice::audioMessage(Bytes chunk) {
    WireMessage message(WireMessage::Kind::audio);
    message.session = m_id;
    message.sequence = m_sequence++;
    message.pcm = std::move(chunk);
    return message;
}

void OutgoingVoice::appendEndMarker(std::vector<WireMessage>& messages) {
    if (m_sentEnd)
        return;
    m_sentEnd = true;
    WireMessage end(WireMessage::Kind::voiceEnd);
    end.session = m_id;
    // The last audio sequence actually sent; -1 says the utterance carried no audio.
    end.sequence = m_sequence - 1;
    messages.push_back(std::move(end));
}

} // namespace quillvane
