#pragma once

#include <string_view>
#include <vector>

namespace quillvane {

// One code point of a character to type, with its UTF-8 bytes.
struct TypedCodePoint {
    char32_t codePoint = 0;
    std::string_view bytes;

    // The code points of valid UTF-8 `text` in order, CR LF counting as one line break (the CR).
    static std::vector<TypedCodePoint> of(std::string_view text);
};

} // namespace quillvane
