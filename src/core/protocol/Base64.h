#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "protocol/Bytes.h"

namespace quillvane {

// Standard Base64 (RFC 4648 alphabet) with padding. Decoding accepts only the canonical padded
// form: no white space, no missing padding, no characters outside the alphabet.
void appendBase64(std::string& out, std::span<const std::uint8_t> bytes);
std::string base64Encode(std::span<const std::uint8_t> bytes);

// Decodes into `out` (replacing its contents); false when the text is not canonical Base64.
bool base64Decode(std::string_view text, Bytes& out);

} // namespace quillvane
