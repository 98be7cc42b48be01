#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/Uuid.h"

namespace quillvane {

inline constexpr std::int64_t kProtocolVersion = 1;

// A pointer delta or position in points.
struct TrackpadVector {
    double x = 0;
    double y = 0;
    friend bool operator==(const TrackpadVector&, const TrackpadVector&) = default;
};

enum class TrackpadScrollPhase {
    began,
    changed,
    ended,
    cancelled,
    momentumBegan,
    momentumChanged,
    momentumEnded,
};

// The one message record of the link, in both directions and on both channels. Each kind uses a
// few of the optional fields; an absent field is left out of the JSON, never written as null.
struct WireMessage {
    enum class Kind {
        hello,
        welcome,
        heartbeat,
        move,
        scroll,
        click,
        drag,
        key,
        text,
        voiceBegin,
        voiceReady,
        audio,
        voiceEnd,
        voiceDone,
        cancel,
        failure,
    };

    WireMessage() = default;
    explicit WireMessage(Kind k) : kind(k) {}

    Kind kind = Kind::heartbeat;
    std::int64_t version = kProtocolVersion;
    std::optional<std::string> channel;
    std::optional<Uuid> client;
    std::optional<Uuid> session;
    std::optional<std::int64_t> sequence;
    std::optional<double> x;
    std::optional<double> y;
    std::optional<std::vector<TrackpadVector>> movementSamples;
    std::optional<TrackpadScrollPhase> scrollPhase;
    std::optional<std::uint16_t> keyCode;
    std::optional<std::uint64_t> modifiers;
    std::optional<std::string> text;
    std::optional<bool> flag;
    std::optional<bool> continuingClick;
    std::optional<double> doubleClickInterval;
    std::optional<Bytes> pcm;

    friend bool operator==(const WireMessage&, const WireMessage&) = default;

    // JSON text of this message; throws JsonError for a non-finite number or invalid UTF-8.
    std::string toJson() const;
    // Appends the JSON text to `out` (the frame codec writes after its length prefix).
    void appendJson(std::string& out) const;

    // Parses one message in place. `json` must be followed by at least kJsonPadding writable
    // bytes; they are blanked while parsing and restored before returning, so the result never
    // depends on what follows the document. Use fromJson(std::string_view) otherwise. Throws
    // JsonError.
    static WireMessage fromPaddedJson(char* json, std::size_t length);
    static WireMessage fromJson(std::string_view json);
};

// Readable bytes a padded JSON buffer needs after its last byte.
extern const std::size_t kJsonPadding;

std::string_view toString(WireMessage::Kind kind);
std::optional<WireMessage::Kind> kindFromString(std::string_view text);
std::string_view toString(TrackpadScrollPhase phase);
std::optional<TrackpadScrollPhase> scrollPhaseFromString(std::string_view text);

} // namespace quillvane
