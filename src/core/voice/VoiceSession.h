#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "protocol/Uuid.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// The bookkeeping of one utterance streamed from the phone: which audio packets are acceptable
// (identity, order, size, playback backlog), when the utterance is completely played out, and
// when it has gone stale. Audio is counted in samples of the wire format (mono 32-bit float at
// 24,000 per second). Times are seconds of a monotonic clock, always passed in.
//
// Invariant: pendingSamples() is the sum of pending() and never exceeds maximumPendingSamples.
// Every failing call leaves the session exactly as it was.
class VoiceSession {
public:
    // 200 ms per packet.
    static constexpr std::int64_t maximumPacketSamples = 4'800;
    // Two seconds waiting for playback.
    static constexpr std::int64_t maximumPendingSamples = 48'000;
    // Seconds without an accepted packet (or since voiceEnd) after which the utterance is stale.
    static constexpr double staleAfter = 5.0;

    // Starts an utterance. Throws PadError ("上一段语音尚未结束") while any utterance is present,
    // even one with the same identifier: a running utterance is never replaced implicitly.
    void begin(const Uuid& id, double now);

    // Admits audio packet `sequence` of `samples` samples; the caller schedules its audio only if
    // this returns. Throws VoiceReceiveFailure.
    void receive(const Uuid& id, std::int64_t sequence, std::int64_t samples, double now);

    // Admits voiceEnd, whose `lastSequence` must be the last accepted packet (-1 for none).
    // True when nothing is waiting, i.e. the utterance is complete now. Throws PadError
    // ("语音尾部不完整").
    bool end(const Uuid& id, std::int64_t lastSequence, double now);

    // The audio of packet `sequence` has finished playing. True exactly when that was the last
    // outstanding packet of an ending utterance. Unknown or repeated notices are ignored.
    bool played(const Uuid& id, std::int64_t sequence);

    bool expired(double now) const;

    // Drops the utterance. When one was present and a reason is given, the `failure` message that
    // tells the phone why.
    std::optional<WireMessage> cancel(const std::optional<std::string>& reason);

    const std::optional<Uuid>& id() const { return m_id; }
    bool isEnding() const { return m_isEnding; }
    std::int64_t nextSequence() const { return m_nextSequence; }
    std::int64_t playedSequence() const { return m_playedSequence; }
    // Accepted packets not yet reported played: sequence to sample count.
    const std::map<std::int64_t, std::int64_t>& pending() const { return m_pending; }
    std::int64_t pendingSamples() const { return m_pendingSamples; }
    double lastActivity() const { return m_lastActivity; }
    std::optional<double> endingAt() const { return m_endingAt; }

    friend bool operator==(const VoiceSession&, const VoiceSession&) = default;

private:
    bool concerns(const Uuid& id) const { return m_id == id; }

    std::optional<Uuid> m_id;
    bool m_isEnding = false;
    std::int64_t m_nextSequence = 0;
    std::int64_t m_playedSequence = -1;
    std::map<std::int64_t, std::int64_t> m_pending;
    std::int64_t m_pendingSamples = 0;
    double m_lastActivity = 0;
    std::optional<double> m_endingAt;
};

} // namespace quillvane
