#include "Unicode.h"

namespace quillvane {
namespace {

bool inRange(char32_t c, char32_t low, char32_t high) { return c >= low && c <= high; }

bool isExtending(char32_t c) {
    return inRange(c, 0x0300, 0x036F) || inRange(c, 0x0483, 0x0489) ||
           inRange(c, 0x0591, 0x05BD) || inRange(c, 0x0610, 0x061A) ||
           inRange(c, 0x064B, 0x065F) || inRange(c, 0x0900, 0x0903) ||
           inRange(c, 0x093A, 0x094F) || inRange(c, 0x0E31, 0x0E31) ||
           inRange(c, 0x0E34, 0x0E3A) || inRange(c, 0x0E47, 0x0E4E) ||
           inRange(c, 0x1160, 0x11FF) || inRange(c, 0x1AB0, 0x1AFF) ||
           inRange(c, 0x1DC0, 0x1DFF) || inRange(c, 0x200C, 0x200D) ||
           inRange(c, 0x20D0, 0x20FF) || inRange(c, 0x302A, 0x302F) ||
           inRange(c, 0x3099, 0x309A) || inRange(c, 0xFE00, 0xFE0F) ||
           inRange(c, 0xFE20, 0xFE2F) || inRange(c, 0x1F3FB, 0x1F3FF) ||
           inRange(c, 0xE0020, 0xE007F) || inRange(c, 0xE0100, 0xE01EF);
}

bool isRegionalIndicator(char32_t c) { return inRange(c, 0x1F1E6, 0x1F1FF); }

bool isWhitespace(char32_t c) {
    return inRange(c, 0x09, 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           inRange(c, 0x2000, 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

// Offset just past the user-perceived character that starts at `offset`.
std::size_t nextCharacterEnd(std::string_view text, std::size_t offset) {
    const char32_t first = nextCodePoint(text, offset);
    if (first == U'\r' && offset < text.size() && text[offset] == '\n')
        return offset + 1;
    bool joinNext = false;
    bool pairedIndicator = !isRegionalIndicator(first);
    while (offset < text.size()) {
        std::size_t next = offset;
        const char32_t c = nextCodePoint(text, next);
        if (joinNext || isExtending(c)) {
            joinNext = c == 0x200D;
        } else if (!pairedIndicator && isRegionalIndicator(c)) {
            pairedIndicator = true;
        } else {
            break;
        }
        offset = next;
    }
    return offset;
}

} // namespace

bool isValidUtf8(std::string_view text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t length;
        char32_t minimum;
        char32_t value;
        if ((c & 0xE0) == 0xC0) {
            length = 2, minimum = 0x80, value = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            length = 3, minimum = 0x800, value = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            length = 4, minimum = 0x10000, value = c & 0x07;
        } else {
            return false;
        }
        if (n - i < length)
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((s[i + k] & 0xC0) != 0x80)
                return false;
            value = value << 6 | (s[i + k] & 0x3F);
        }
        if (value < minimum || value > 0x10FFFF || inRange(value, 0xD800, 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

char32_t nextCodePoint(std::string_view text, std::size_t& offset) {
    const auto c = static_cast<unsigned char>(text[offset]);
    std::size_t length = c < 0x80 ? 1 : (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : 4;
    if (offset + length > text.size())
        length = text.size() - offset;
    char32_t value = length == 1 ? c : c & (0x3F >> (length - 1));
    for (std::size_t k = 1; k < length; ++k)
        value = value << 6 | (static_cast<unsigned char>(text[offset + k]) & 0x3F);
    offset += length;
    return value;
}

std::size_t utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    for (const char ch : utf8) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c & 0xC0) != 0x80)
            units += c >= 0xF0 ? 2 : 1;
    }
    return units;
}

std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < utf8.size(); offset = nextCharacterEnd(utf8, offset))
        ++count;
    return count;
}

std::string_view characterPrefix(std::string_view utf8, std::size_t count) {
    std::size_t offset = 0;
    for (std::size_t i = 0; i < count && offset < utf8.size(); ++i)
        offset = nextCharacterEnd(utf8, offset);
    return utf8.substr(0, offset);
}

std::string_view trimWhitespace(std::string_view utf8) {
    std::size_t begin = 0;
    while (begin < utf8.size()) {
        std::size_t next = begin;
        if (!isWhitespace(nextCodePoint(utf8, next)))
            break;
        begin = next;
    }
    std::size_t end = utf8.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<unsigned char>(utf8[start]) & 0xC0) == 0x80)
            --start;
        std::size_t probe = start;
        if (!isWhitespace(nextCodePoint(utf8, probe)))
            break;
        end = start;
    }
    return utf8.substr(begin, end - begin);
}

} // namespace quillvane
