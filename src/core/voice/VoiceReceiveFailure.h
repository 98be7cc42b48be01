#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>

namespace quillvane {

// Why VoiceSession refused an audio packet. The text (what()) is the user-facing reason sent to
// the phone; the detail keeps the numbers for the log.
class VoiceReceiveFailure : public std::runtime_error {
public:
    struct UnexpectedSequence {
        std::int64_t expected;
        std::int64_t received;
        friend bool operator==(const UnexpectedSequence&, const UnexpectedSequence&) = default;
    };
    struct InvalidSamples {
        std::int64_t samples;
        friend bool operator==(const InvalidSamples&, const InvalidSamples&) = default;
    };
    struct PlaybackBacklog {
        std::int64_t pending;
        std::int64_t incoming;
        friend bool operator==(const PlaybackBacklog&, const PlaybackBacklog&) = default;
    };
    struct InactiveSession {
        friend bool operator==(const InactiveSession&, const InactiveSession&) = default;
    };
    struct AlreadyEnding {
        friend bool operator==(const AlreadyEnding&, const AlreadyEnding&) = default;
    };
    using Detail = std::variant<UnexpectedSequence, InvalidSamples, PlaybackBacklog,
                                InactiveSession, AlreadyEnding>;

    explicit VoiceReceiveFailure(Detail detail);

    const Detail& detail() const { return m_detail; }
    // The user-facing text, e.g. "音频分包序号异常，请重试".
    std::string message() const { return what(); }
    // The case with its numbers, e.g. "unexpectedSequence(expected: 0, received: 1)".
    std::string debugDescription() const;

private:
    Detail m_detail;
};

} // namespace quillvane
