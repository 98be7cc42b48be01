#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct xkb_keymap;

namespace quillvane {

// The keys that type one character on a keyboard layout: the modifiers to hold (Shift, AltGr) and
// the key, all as evdev codes.
struct KeyStroke {
    std::vector<std::uint16_t> modifiers;
    std::uint16_t key = 0;

    friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

// Which key of an XKB layout types which character, for backends that can only press keys and
// leave the translation to the desktop's keymap. Only the first group (the layout the desktop
// starts with) and the levels reached with Shift and AltGr count: Caps Lock and a second layout
// are states this program cannot see.
class LayoutKeys {
public:
    struct Names {
        std::string layout{};
        std::string variant{};
        std::string model{};
        std::string options{};

        friend bool operator==(const Names&, const Names&) = default;
    };

    // The layout from XKB rule names; empty names take libxkbcommon's defaults (the XKB_DEFAULT_*
    // environment variables, then "us").
    static std::optional<LayoutKeys> fromNames(const Names& names);
    // The layout a desktop without its own settings starts with: XKB_DEFAULT_LAYOUT when set,
    // else the system keyboard of /etc/default/keyboard, else "us".
    static std::optional<LayoutKeys> systemDefault();
    // The names of that layout (all empty when XKB_DEFAULT_LAYOUT decides).
    static Names systemDefaultNames();
    // The layout of a keymap in XKB's text format, as a Wayland compositor hands it to clients.
    static std::optional<LayoutKeys> fromKeymapText(std::string_view text);

    std::optional<KeyStroke> strokeFor(char32_t codePoint) const;

private:
    // Takes no ownership; the keymap is read once.
    static LayoutKeys fromKeymap(xkb_keymap* keymap);

    // Keyed by keysym; the stroke with the fewest modifiers wins.
    std::unordered_map<std::uint32_t, KeyStroke> m_strokes;
};

} // namespace quillvane
