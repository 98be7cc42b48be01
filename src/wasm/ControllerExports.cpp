// The controller half of the core as plain C functions for the WebAssembly build; the ES module
// quillvane-core.mjs wraps them for the browser page. Every function returns its result as text
// in one shared buffer (valid until the next call), one item per line:
//   m <json>      a message to send, in order
//   h <kind>      a vibration: "start" or "detent"
//   r <text>      a plain result
//   e <text>      the core's error text (or, for a call the page got wrong, a developer's
//                 text in English); nothing else was done
// No exception leaves a function: every one is caught here and becomes an "e" line.

#include <emscripten/emscripten.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "controller/AirMouse.h"
#include "controller/PointerGuideHistory.h"
#include "controller/PointerGuideMode.h"
#include "controller/QuickInput.h"
#include "controller/QuickKey.h"
#include "controller/TrackpadGesture.h"
#include "pairing/ConnectionResume.h"
#include "pairing/PairingHistory.h"
#include "protocol/PadError.h"
#include "voice/OutgoingVoice.h"

using namespace quillvane;

namespace {

std::string g_result;
ControllerOutput g_output;
TrackpadGesture g_trackpad;
AirMouse g_air;
std::optional<OutgoingVoice> g_voice;
ConnectionResume g_resume;
PairingHistory g_history;
std::vector<QuickKey> g_quickKeys;
std::vector<QuickInput> g_quickInputs;
bool g_quickListBroken = false;

void line(char tag, std::string_view text) {
    g_result.push_back(tag);
    g_result.push_back(' ');
    g_result.append(text);
    g_result.push_back('\n');
}

void messages(const std::vector<WireMessage>& list) {
    for (const auto& message : list)
        line('m', message.toJson());
}

// Runs `body` with a fresh result, turning any exception into an "e" line.
template <class Body> const char* run(Body&& body) {
    g_result.clear();
    try {
        body();
    } catch (const std::exception& error) {
        g_result.clear();
        line('e', error.what());
    } catch (...) {
        g_result.clear();
        line('e', "unknown error");
    }
    return g_result.c_str();
}

const char* output() {
    return run([] {
        messages(g_output.messages);
        for (const Haptic haptic : g_output.haptics)
            line('h', haptic == Haptic::start ? "start" : "detent");
        g_output.clear();
    });
}

Uuid uuid(const char* text) {
    const auto id = Uuid::parse(text ? text : "");
    if (!id)
        throw PadError::invalid("not a UUID");
    return *id;
}

// Hands out the ids the page drew with crypto.getRandomValues, 16 bytes each.
QuickKey::UuidSource randomIds(const std::uint8_t* random, std::size_t count) {
    return [random, count, next = std::size_t{0}]() mutable {
        Uuid::Bytes16 bytes{};
        if (next < count)
            std::memcpy(bytes.data(), random + 16 * next++, 16);
        return Uuid::fromRandomBytes(bytes);
    };
}

} // namespace

extern "C" {

// The trackpad. phase: 0 began, 1 moved, 2 ended, 3 cancelled.
EMSCRIPTEN_KEEPALIVE void qv_trackpad_configure(double acceleration, int tapToClick, int naturalScroll) {
    g_trackpad.setSettings({acceleration, tapToClick != 0, naturalScroll != 0});
}
EMSCRIPTEN_KEEPALIVE void qv_trackpad_reset() { g_trackpad = TrackpadGesture(g_trackpad.settings()); }
EMSCRIPTEN_KEEPALIVE const char* qv_trackpad_touch(double id, double x, double y, double time, int phase) {
    if (phase >= 0 && phase <= 3)
        g_trackpad.touch({static_cast<std::int64_t>(id), x, y, time, static_cast<TouchPhase>(phase)}, g_output);
    return output();
}
EMSCRIPTEN_KEEPALIVE const char* qv_trackpad_advance(double time) {
    g_trackpad.advance(time, g_output);
    return output();
}
EMSCRIPTEN_KEEPALIVE int qv_trackpad_idle() { return g_trackpad.idle(); }

// The air mouse: rates in rad/s about x, y, z.
EMSCRIPTEN_KEEPALIVE void qv_air_reset() { g_air = AirMouse(); }
EMSCRIPTEN_KEEPALIVE const char* qv_air_motion(double x, double y, double z, double time) {
    g_air.motion(x, y, z, time, g_output);
    return output();
}
EMSCRIPTEN_KEEPALIVE const char* qv_air_button(int right, int down, double time) {
    g_air.button(right ? AirMouse::Button::right : AirMouse::Button::left, down != 0, time, g_output);
    return output();
}
EMSCRIPTEN_KEEPALIVE const char* qv_air_advance(double time) {
    g_air.advance(time, g_output);
    return output();
}
EMSCRIPTEN_KEEPALIVE int qv_air_idle() { return g_air.idle(); }

// Messages the page sends of its own accord.
EMSCRIPTEN_KEEPALIVE const char* qv_hello(const char* channel, const char* client) {
    return run([&] {
        WireMessage message(WireMessage::Kind::hello);
        message.channel = channel;
        message.client = uuid(client);
        line('m', message.toJson());
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_plain(int kind) {
    return run([&] {
        if (kind != static_cast<int>(WireMessage::Kind::heartbeat) &&
            kind != static_cast<int>(WireMessage::Kind::cancel))
            throw PadError::invalid("only heartbeat and cancel carry no fields");
        line('m', WireMessage(static_cast<WireMessage::Kind>(kind)).toJson());
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_key(int code, double modifiers) {
    return run([&] {
        if (code < 0 || code > 0xFFFF || !(modifiers >= 0) || modifiers > 9007199254740991.0)
            throw PadError::invalid("key code or modifiers out of range");
        WireMessage message(WireMessage::Kind::key);
        message.keyCode = static_cast<std::uint16_t>(code);
        message.modifiers = static_cast<std::uint64_t>(modifiers);
        line('m', message.toJson());
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_text(const char* text) {
    return run([&] {
        WireMessage message(WireMessage::Kind::text);
        message.text = text;
        line('m', message.toJson());
    });
}

// One utterance: voiceBegin, then audio chunks (32-bit float, 24 kHz mono), held back until
// the host's voiceReady, then voiceEnd.
EMSCRIPTEN_KEEPALIVE const char* qv_voice_begin(const char* session) {
    return run([&] {
        g_voice.emplace(uuid(session));
        WireMessage message(WireMessage::Kind::voiceBegin);
        message.session = g_voice->id();
        line('m', message.toJson());
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_voice_append(const std::uint8_t* bytes, int length) {
    return run([&] {
        if (g_voice && length >= 0)
            messages(g_voice->append(Bytes(bytes, bytes + length)));
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_voice_ready() {
    return run([] {
        if (g_voice)
            messages(g_voice->markReady());
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_voice_finish() {
    return run([] {
        if (g_voice)
            messages(g_voice->finish());
    });
}

// Reconnecting when the page comes back to the foreground.
EMSCRIPTEN_KEEPALIVE void qv_resume_suspend(int connectedOrConnecting) { g_resume.suspend(connectedOrConnecting != 0); }
EMSCRIPTEN_KEEPALIVE int qv_resume_take() { return g_resume.takeResume(); }
EMSCRIPTEN_KEEPALIVE void qv_resume_cancel() { g_resume.cancel(); }

// The hosts this page has paired with, kept by the page as the stored form qv_history_json()
// gives and handed back profile by profile.
EMSCRIPTEN_KEEPALIVE void qv_history_clear() { g_history = PairingHistory(); }
EMSCRIPTEN_KEEPALIVE const char* qv_history_add(const char* link) {
    return run([&] { g_history.add(PairingProfile::parse(link)); });
}
EMSCRIPTEN_KEEPALIVE const char* qv_history_select(const char* id) {
    return run([&] { g_history.select(uuid(id)); });
}
EMSCRIPTEN_KEEPALIVE const char* qv_history_remove(const char* id) {
    return run([&] { g_history.remove(uuid(id)); });
}
EMSCRIPTEN_KEEPALIVE const char* qv_history_json() {
    return run([] { line('r', g_history.toJson()); });
}

// The saved quick keys and quick inputs: the page reads its stored JSON with the browser's parser
// and hands the records over one by one (or says the text did not decode), then gets the list the
// core's rules keep, as JSON. `random` holds 16 bytes for each default key that may be needed.
EMSCRIPTEN_KEEPALIVE void qv_quick_begin() {
    g_quickKeys.clear();
    g_quickInputs.clear();
    g_quickListBroken = false;
}
EMSCRIPTEN_KEEPALIVE void qv_quick_add_key(const char* id, const char* label, int code, double flags) {
    const auto parsed = Uuid::parse(id ? id : "");
    if (!parsed || code < 0 || code > 0xFFFF || !(flags >= 0) || flags > 9007199254740991.0) {
        g_quickListBroken = true;
        return;
    }
    g_quickKeys.push_back({*parsed, label, static_cast<std::uint16_t>(code), static_cast<std::uint64_t>(flags)});
}
EMSCRIPTEN_KEEPALIVE void qv_quick_add_input(const char* id, const char* label, const char* text) {
    const auto parsed = Uuid::parse(id ? id : "");
    if (!parsed) {
        g_quickListBroken = true;
        return;
    }
    g_quickInputs.push_back({*parsed, label, text});
}
EMSCRIPTEN_KEEPALIVE void qv_quick_broken() { g_quickListBroken = true; }
EMSCRIPTEN_KEEPALIVE const char* qv_quick_keys(const std::uint8_t* random) {
    return run([&] {
        const auto ids = randomIds(random, QuickKey::keyCount);
        line('r', QuickKey::encode(g_quickListBroken ? QuickKey::defaults(ids)
                                                     : QuickKey::fromStored(g_quickKeys, ids)));
    });
}
EMSCRIPTEN_KEEPALIVE const char* qv_quick_inputs() {
    return run([] {
        line('r', QuickInput::encode(g_quickListBroken ? std::vector<QuickInput>{}
                                                       : QuickInput::fromStored(g_quickInputs)));
    });
}

// The pointer guide: the video for the interface language (as stored: "system", "zh-Hans",
// "en"; `preferred` is the browser's language list, one per line) and the settings key of
// its seen flag.
EMSCRIPTEN_KEEPALIVE const char* qv_pointer_guide(const char* mode, const char* language, const char* preferred) {
    return run([&] {
        const auto guide = pointerGuideModeFromRaw(mode);
        const auto appLanguage = appLanguageFromRaw(language);
        if (!guide || !appLanguage)
            throw PadError::invalid("unknown pointer guide mode or language");
        std::vector<std::string> languages;
        std::string_view rest = preferred;
        while (!rest.empty()) {
            const auto end = rest.find('\n');
            languages.emplace_back(rest.substr(0, end));
            rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        }
        line('r', videoResource(*guide, *appLanguage, languages));
        line('r', PointerGuideHistory::seenKey(*guide));
    });
}

} // extern "C"
