#include "voice/VoiceSession.h"

#include <algorithm>

#include "protocol/PadError.h"
#include "voice/VoiceReceiveFailure.h"

namespace quillvane {

void VoiceSession::begin(const Uuid& id, double now) {
    if (m_id)
        throw PadError::invalid("上一段语音尚未结束");
    *this = VoiceSession();
    m_id = id;
    m_lastActivity = now;
}

void VoiceSession::receive(const Uuid& id, std::int64_t sequence, std::int64_t samples,
                           double now) {
    // The order of these checks decides which reason the phone is told.
    if (!concerns(id))
        throw VoiceReceiveFailure(VoiceReceiveFailure::InactiveSession{});
    if (m_isEnding)
        throw VoiceReceiveFailure(VoiceReceiveFailure::AlreadyEnding{});
    // No reordering and no tolerance for gaps or repeats: the link is ordered, so any other
    // number means lost or duplicated audio.
    if (sequence != m_nextSequence)
        throw VoiceReceiveFailure(
            VoiceReceiveFailure::UnexpectedSequence{m_nextSequence, sequence});
    if (samples < 1 || samples > maximumPacketSamples)
        throw VoiceReceiveFailure(VoiceReceiveFailure::InvalidSamples{samples});
    if (m_pendingSamples + samples > maximumPendingSamples)
        throw VoiceReceiveFailure(VoiceReceiveFailure::PlaybackBacklog{m_pendingSamples, samples});

    m_pending.emplace(sequence, samples);
    m_pendingSamples += samples;
    m_nextSequence = sequence + 1;
    m_lastActivity = now;
}

bool VoiceSession::end(const Uuid& id, std::int64_t lastSequence, double now) {
    if (!concerns(id) || m_isEnding || lastSequence != m_nextSequence - 1)
        throw PadError::invalid("语音尾部不完整");
    m_isEnding = true;
    m_endingAt = now;
    return m_pending.empty();
}

bool VoiceSession::played(const Uuid& id, std::int64_t sequence) {
    if (!concerns(id))
        return false;
    const auto packet = m_pending.find(sequence);
    if (packet == m_pending.end())
        return false;
    m_pendingSamples -= packet->second;
    m_pending.erase(packet);
    m_playedSequence = std::max(m_playedSequence, sequence);
    return m_isEnding && m_pending.empty();
}

bool VoiceSession::expired(double now) const {
    if (!m_id)
        return false;
    const double reference = m_endingAt.value_or(m_lastActivity);
    return now - reference > staleAfter;
}

std::optional<WireMessage> VoiceSession::cancel(const std::optional<std::string>& reason) {
    const std::optional<Uuid> id = m_id;
    *this = VoiceSession();
    if (!id || !reason)
        return std::nullopt;
    WireMessage failure(WireMessage::Kind::failure);
    failure.session = id;
    failure.text = reason;
    return failure;
}

} // namespace quillvane
