#pragma once

#include <cstdint>
#include <optional>

namespace quillvane {

// The keysym that types a character (a Unicode code point). Line feed and carriage return type as
// Return; tab, backspace, escape and delete as their keys; other control characters have none.
std::optional<std::uint32_t> keysymFor(char32_t codePoint);

} // namespace quillvane
