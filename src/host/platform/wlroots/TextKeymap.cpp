#include "TextKeymap.h"

#include <map>

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

#include "platform/xkb/Keysym.h"

namespace quillvane {
namespace {

// XKB numbers a key as its evdev code plus 8.
constexpr std::uint32_t evdevOffset = 8;

} // namespace

TextKeymap::TextKeymap(const std::vector<char32_t>& characters) {
    std::map<xkb_keysym_t, std::uint16_t> keyOf;
    std::string symbols;
    for (const char32_t character : characters) {
        const xkb_keysym_t keysym = keysymFor(character).value_or(XKB_KEY_NoSymbol);
        if (keysym == XKB_KEY_NoSymbol) {
            m_keys.push_back(0);
            ++m_covered;
            continue;
        }
        auto found = keyOf.find(keysym);
        if (found == keyOf.end()) {
            if (keyOf.size() == capacity)
                break;
            const auto key = static_cast<std::uint16_t>(keyOf.size() + 1);
            found = keyOf.emplace(keysym, key).first;
            char name[64];
            xkb_keysym_get_name(keysym, name, sizeof name);
            symbols += "    key <K" + std::to_string(key) + "> { [ " + name + " ] };\n";
        }
        m_keys.push_back(found->second);
        ++m_covered;
    }
    std::string codes;
    for (std::uint32_t key = 1; key <= keyOf.size(); ++key)
        codes += "    <K" + std::to_string(key) + "> = " + std::to_string(key + evdevOffset) + ";\n";
    m_text = "xkb_keymap {\n"
             "  xkb_keycodes \"quillvane\" {\n    minimum = 8;\n    maximum = 255;\n" +
             codes +
             "  };\n"
             "  xkb_types \"quillvane\" { include \"complete\" };\n"
             "  xkb_compatibility \"quillvane\" { include \"complete\" };\n"
             "  xkb_symbols \"quillvane\" {\n" +
             symbols + "  };\n};\n";
}

} // namespace quillvane
