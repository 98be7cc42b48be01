#pragma once

#include <cstdint>

namespace quillvane {

// One keyboard event of a voice shortcut, as the platform layer will post it: a virtual key code,
// the event kind and the complete modifier flag word stamped on it.
struct ShortcutEvent {
    enum class Kind : std::uint8_t {
        keyDown = 0,
        keyUp = 1,
        flagsChanged = 2,
    };

    std::uint16_t code = 0;
    Kind kind = Kind::keyDown;
    std::uint64_t flags = 0;

    // Whether the key goes down. For a modifier change that is whether the modifier named by
    // `code` is set in `flags` (its side bit, or the Fn flag); other codes give false.
    bool keyDown() const;

    friend bool operator==(const ShortcutEvent&, const ShortcutEvent&) = default;
};

} // namespace quillvane
