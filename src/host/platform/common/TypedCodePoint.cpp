#include "TypedCodePoint.h"

#include "protocol/Unicode.h"

namespace quillvane {

std::vector<TypedCodePoint> TypedCodePoint::of(std::string_view text) {
    std::vector<TypedCodePoint> points;
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t start = offset;
        const char32_t codePoint = nextCodePoint(text, offset);
        if (codePoint == U'\n' && !points.empty() && points.back().codePoint == U'\r')
            continue;
        points.push_back({codePoint, text.substr(start, offset - start)});
    }
    return points;
}

} // namespace quillvane
