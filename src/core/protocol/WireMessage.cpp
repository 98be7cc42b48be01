#include "WireMessage.h"

#include <array>

#include "protocol/JsonWriter.h"

// Reading is in WireMessageReading.cpp: it needs simdjson, which the WebAssembly build of the
// controller half (a writer of messages only) does without.

namespace quillvane {

namespace {

constexpr std::array<std::string_view, 16> kKindNames = {
    "hello", "welcome", "heartbeat", "move",  "scroll",     "click",     "drag",   "key",
    "text",  "voiceBegin", "voiceReady", "audio", "voiceEnd", "voiceDone", "cancel", "failure",
};

constexpr std::array<std::string_view, 7> kPhaseNames = {
    "began", "changed", "ended", "cancelled", "momentumBegan", "momentumChanged", "momentumEnded",
};

} // namespace

std::string_view toString(WireMessage::Kind kind) { return kKindNames[static_cast<int>(kind)]; }

std::optional<WireMessage::Kind> kindFromString(std::string_view text) {
    for (std::size_t i = 0; i < kKindNames.size(); ++i)
        if (kKindNames[i] == text)
            return static_cast<WireMessage::Kind>(i);
    return std::nullopt;
}

std::string_view toString(TrackpadScrollPhase phase) {
    return kPhaseNames[static_cast<int>(phase)];
}

std::optional<TrackpadScrollPhase> scrollPhaseFromString(std::string_view text) {
    for (std::size_t i = 0; i < kPhaseNames.size(); ++i)
        if (kPhaseNames[i] == text)
            return static_cast<TrackpadScrollPhase>(i);
    return std::nullopt;
}

void WireMessage::appendJson(std::string& out) const {
    JsonWriter w(out);
    w.beginObject();
    w.key("kind");
    w.string(toString(kind));
    w.key("version");
    w.integer(version);
    if (channel) {
        w.key("channel");
        w.string(*channel);
    }
    if (client) {
        w.key("client");
        w.uuid(*client);
    }
    if (session) {
        w.key("session");
        w.uuid(*session);
    }
    if (sequence) {
        w.key("sequence");
        w.integer(*sequence);
    }
    if (x) {
        w.key("x");
        w.number(*x);
    }
    if (y) {
        w.key("y");
        w.number(*y);
    }
    if (movementSamples) {
        w.key("movementSamples");
        w.beginArray();
        for (const auto& sample : *movementSamples) {
            w.beginObject();
            w.key("x");
            w.number(sample.x);
            w.key("y");
            w.number(sample.y);
            w.endObject();
        }
        w.endArray();
    }
    if (scrollPhase) {
        w.key("scrollPhase");
        w.string(toString(*scrollPhase));
    }
    if (keyCode) {
        w.key("keyCode");
        w.unsignedInteger(*keyCode);
    }
    if (modifiers) {
        w.key("modifiers");
        w.unsignedInteger(*modifiers);
    }
    if (text) {
        w.key("text");
        w.string(*text);
    }
    if (flag) {
        w.key("flag");
        w.boolean(*flag);
    }
    if (continuingClick) {
        w.key("continuingClick");
        w.boolean(*continuingClick);
    }
    if (doubleClickInterval) {
        w.key("doubleClickInterval");
        w.number(*doubleClickInterval);
    }
    if (pcm) {
        w.key("pcm");
        w.base64(*pcm);
    }
    w.endObject();
}

std::string WireMessage::toJson() const {
    std::string out;
    appendJson(out);
    return out;
}

} // namespace quillvane
