#include "Keysym.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

namespace quillvane {

std::optional<std::uint32_t> keysymFor(char32_t codePoint) {
    switch (codePoint) {
    case U'\b':
        return XKB_KEY_BackSpace;
    case U'\t':
        return XKB_KEY_Tab;
    case U'\n':
    case U'\r':
        return XKB_KEY_Return;
    case U'\x1b':
        return XKB_KEY_Escape;
    case U'\x7f':
        return XKB_KEY_Delete;
    default:
        break;
    }
    if (codePoint < 0x20 || (codePoint >= 0x80 && codePoint < 0xa0))
        return std::nullopt;
    const xkb_keysym_t keysym = xkb_utf32_to_keysym(codePoint);
    if (keysym == XKB_KEY_NoSymbol)
        return std::nullopt;
    return keysym;
}

} // namespace quillvane
