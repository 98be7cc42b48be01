#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pairing/PairingProfile.h"
#include "unit/core/PadErrorOf.h"

namespace quillvane::test {

inline constexpr std::string_view kSecret =
    "00112233445566778899aabbccddeeff0123456789abcdeffedcba9876543210";
inline constexpr std::string_view kOtherSecret =
    "ffeeddccbbaa99887766554433221100ffeeddccbbaa99887766554433221100";

using Texts = std::vector<std::string>;

inline const Uuid kStudioID = *Uuid::parse("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23");
inline const Uuid kOfficeID = *Uuid::parse("0F4E1B22-8C7D-4A10-B3E5-92D6C1A07F58");
inline const Uuid kAtticID = *Uuid::parse("A1B2C3D4-E5F6-4789-8ABC-DEF012345678");

inline PairingProfile profile(const Uuid& id, std::string name, std::string_view secret = kSecret) {
    return PairingProfile{id, std::move(name), std::string(secret)};
}

inline std::string repeat(std::string_view unit, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out.append(unit);
    return out;
}

} // namespace quillvane::test
