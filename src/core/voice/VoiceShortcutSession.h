#pragma once

#include <cstdint>
#include <optional>

#include "voice/VoiceShortcutAction.h"
#include "voice/VoiceShortcutMode.h"

namespace quillvane {

// Remembers what has to be posted when the utterance ends, so that every press gets exactly one
// release however the utterance finishes.
class VoiceShortcutSession {
public:
    // The action to post now. Throws PadError ("上一段语音快捷键尚未结束") while a shortcut is
    // still active, or the shortcut's own validation error; a failure stores nothing.
    VoiceShortcutAction begin(std::int64_t code, std::uint64_t modifiers, VoiceShortcutMode mode);
    // The action to post at the end, taken out (a second call gives nothing).
    std::optional<VoiceShortcutAction> end();

    bool isActive() const { return m_endAction.has_value(); }
    const std::optional<VoiceShortcutAction>& endAction() const { return m_endAction; }

private:
    std::optional<VoiceShortcutAction> m_endAction;
};

} // namespace quillvane
