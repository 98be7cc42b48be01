#pragma once

#include <cstdint>
#include <vector>

namespace quillvane {

using Bytes = std::vector<std::uint8_t>;

} // namespace quillvane
