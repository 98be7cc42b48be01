#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillvane {

bool isValidUtf8(std::string_view text);

// Decodes the code point at `offset` of valid UTF-8 and advances `offset` past it.
char32_t nextCodePoint(std::string_view text, std::size_t& offset);

// Length in UTF-16 code units, the unit in which the phone's text limits are stated.
std::size_t utf16Length(std::string_view utf8);

// User-perceived characters (extended grapheme clusters, approximated: combining marks, variation
// selectors, emoji modifiers and tags, zero-width-joiner sequences, regional-indicator pairs and
// CR LF stay with their base). Length limits on names count these, so an emoji or an accented
// letter is never cut in half.
std::size_t characterCount(std::string_view utf8);
std::string_view characterPrefix(std::string_view utf8, std::size_t count);

// Trims Unicode white space and line breaks at both ends.
std::string_view trimWhitespace(std::string_view utf8);

} // namespace quillvane
