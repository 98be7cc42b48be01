#pragma once

#include <cstdint>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// The phone's side of one utterance: turns captured audio chunks (mono 32-bit float at 24,000
// samples per second) into `audio` messages and finally one `voiceEnd`. Until the host answers
// voiceReady the chunks are held back, at most two seconds of them; voiceEnd is produced at most
// once and never before any audio it accepted.
class OutgoingVoice {
public:
    // 4,800 samples, the most one packet may carry.
    static constexpr std::size_t maximumChunkBytes = 19'200;
    // Two seconds of audio waiting for voiceReady.
    static constexpr std::int64_t maximumPendingBytes = 192'000;

    explicit OutgoingVoice(const Uuid& id) : m_id(id) {}

    // Messages to send for this chunk (none while not ready, none after finish). Throws PadError:
    // "无效音频分包" for an empty, misaligned or oversized chunk, "电脑启动过慢，音频缓冲已满"
    // when the held-back audio would exceed two seconds.
    std::vector<WireMessage> append(Bytes data);
    // The host is listening: every held-back chunk in capture order, then voiceEnd if recording
    // already stopped.
    std::vector<WireMessage> markReady();
    // Recording stopped: voiceEnd now if ready (and not sent yet), otherwise when ready.
    std::vector<WireMessage> finish();

    const Uuid& id() const { return m_id; }
    bool isReady() const { return m_isReady; }

private:
    WireMessage audioMessage(Bytes chunk);
    void appendEndMarker(std::vector<WireMessage>& messages);

    Uuid m_id;
    bool m_isReady = false;
    bool m_finished = false;
    bool m_sentEnd = false;
    std::int64_t m_sequence = 0;
    std::vector<Bytes> m_pending;
    std::int64_t m_pendingBytes = 0;
};

} // namespace quillvane
