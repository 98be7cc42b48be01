#pragma once

#include <array>
#include <cstdint>

namespace quillvane {

// One modifier key of a voice shortcut: the event flag it sets, the device bit of its left-hand
// key (so that applications reading side-specific state see a real key press) and its key code.
struct ShortcutModifier {
    std::uint64_t flag;
    std::uint64_t sideBit;
    std::uint16_t keyCode;

    // Everything a press of this key adds to the flag word.
    constexpr std::uint64_t bits() const { return flag | sideBit; }
};

// In press order; release runs in reverse. Dictation programs that watch for "Control then
// Option" see the same order a person's fingers produce.
inline constexpr std::array<ShortcutModifier, 5> shortcutModifiers{{
    {0x40000, 0x1, 59},  // Control
    {0x80000, 0x20, 58}, // Option
    {0x20000, 0x2, 56},  // Shift
    {0x100000, 0x8, 55}, // Command
    {0x800000, 0x0, 63}, // Fn (no side-specific key)
}};

// The only bits of a stored modifier word that count; any other bit is ignored.
inline constexpr std::uint64_t shortcutModifierMask = 0x9e0000;

} // namespace quillvane
