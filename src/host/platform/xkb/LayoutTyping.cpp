#include "LayoutTyping.h"

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

} // namespace quillvane
