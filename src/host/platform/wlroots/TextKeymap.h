#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillvane {

// A keymap of our own that types given characters: each distinct character gets a key of its own
// whose only symbol is that character, so whatever the user's layout, pressing the key types it.
// A virtual keyboard uploads it, presses the keys and puts the real keymap back.
class TextKeymap {
public:
    // Keys 1 to 246 (XKB codes 9 to 254) carry characters.
    static constexpr std::size_t capacity = 246;

    // The keymap for the first `capacity` distinct characters of `characters`, in order.
    // Characters that have no keysym (other control characters) are skipped; line feed and
    // carriage return type as Return, tab, backspace, escape and delete as their keys.
    explicit TextKeymap(const std::vector<char32_t>& characters);

    // In XKB's text format, as the virtual keyboard takes it.
    const std::string& text() const { return m_text; }
    // The evdev code of each character of the constructor's list (0 for characters left out: no
    // keysym, or beyond the capacity), in order.
    const std::vector<std::uint16_t>& keys() const { return m_keys; }
    // How many characters of the list the keymap covers, from the start.
    std::size_t covered() const { return m_covered; }

private:
    std::string m_text;
    std::vector<std::uint16_t> m_keys;
    std::size_t m_covered = 0;
};

} // namespace quillvane
