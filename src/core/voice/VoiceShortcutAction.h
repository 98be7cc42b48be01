#pragma once

#include <variant>
#include <vector>

#include "voice/ShortcutEvent.h"

namespace quillvane {

// Post these events as they are (a hold-mode press, or its release).
struct ShortcutEvents {
    std::vector<ShortcutEvent> events;
    friend bool operator==(const ShortcutEvents&, const ShortcutEvents&) = default;
};

// Post `down`, pause briefly, post `up` (a toggle-mode tap).
struct ShortcutTap {
    std::vector<ShortcutEvent> down;
    std::vector<ShortcutEvent> up;
    friend bool operator==(const ShortcutTap&, const ShortcutTap&) = default;
};

// What the platform layer has to post for one end of a voice shortcut.
using VoiceShortcutAction = std::variant<ShortcutEvents, ShortcutTap>;

} // namespace quillvane
