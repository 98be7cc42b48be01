#include "LayoutTyping.h"

#include "platform/common/ClipboardTextRoute.h"
#include "protocol/Unicode.h"

namespace quillvane {

void routeText(std::string_view text, const LayoutKeys* layout,
               const std::function<void(const KeyStroke&)>& type,
               const std::function<void(std::string_view)>& paste) {
    if (!isValidUtf8(text))
        return;
    char32_t previous = 0;
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t start = offset;
        const char32_t codePoint = nextCodePoint(text, offset);
        const bool secondHalfOfLineBreak = previous == U'\r' && codePoint == U'\n';
        previous = codePoint;
        if (secondHalfOfLineBreak)
            continue;
        if (const auto stroke = layout ? layout->strokeFor(codePoint) : std::nullopt)
            type(*stroke);
        else if (codePoint >= 0x20 && codePoint != 0x7f)
            paste(text.substr(start, offset - start));
    }
}

void typeText(std::string_view text, const LayoutKeys* layout, ClipboardTextRoute* route,
              const std::function<void(const KeyStroke&)>& type) {
    routeText(
        text, layout,
        [&](const KeyStroke& stroke) {
            if (route)
                route->post([type, stroke] { type(stroke); });
            else
                type(stroke);
        },
        [&](std::string_view pasted) {
            if (route)
                route->paste(pasted);
        });
    if (route)
        route->flush();
}

std::vector<std::pair<std::uint16_t, bool>>
strokeChanges(const KeyStroke& stroke, const std::function<bool(std::uint16_t)>& isHeld) {
    std::vector<std::uint16_t> pressed;
    for (const std::uint16_t modifier : stroke.modifiers)
        if (!isHeld(modifier))
            pressed.push_back(modifier);
    std::vector<std::pair<std::uint16_t, bool>> changes;
    for (const std::uint16_t modifier : pressed)
        changes.emplace_back(modifier, true);
    changes.emplace_back(stroke.key, true);
    changes.emplace_back(stroke.key, false);
    for (auto modifier = pressed.rbegin(); modifier != pressed.rend(); ++modifier)
        changes.emplace_back(*modifier, false);
    return changes;
}

} // namespace quillvane
