#pragma once

#include <cstdint>
#include <vector>

#include "voice/ShortcutEvent.h"

namespace quillvane {

// Turns the user's voice shortcut (a key with modifiers, or modifiers alone) into the ordered
// keyboard events that press or release it the way a person would: modifiers first, key last on
// the way down; key first, modifiers in reverse on the way up.
struct VoiceShortcut {
    // Key code meaning "no key: the shortcut is its modifiers alone".
    static constexpr std::int64_t modifiersOnly = -1;
    static constexpr std::int64_t highestCode = 126;

    // Press (`down`) or release events for `code` with the modifier word `modifiers` (only the
    // five modifier flags count). Throws PadError when the code is outside -1 … 126 or a
    // modifiers-only shortcut has no modifier.
    static std::vector<ShortcutEvent> events(std::int64_t code, std::uint64_t modifiers, bool down);
};

} // namespace quillvane
