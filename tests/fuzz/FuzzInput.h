#pragma once

#include <cstddef>
#include <cstdint>

namespace quillvane {

// Stops the run, so libFuzzer keeps the input that broke a rule.
inline void check(bool condition) {
    if (!condition)
        __builtin_trap();
}

// Reads the input front to back; an exhausted input reads as zeros.
struct FuzzInput {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t offset = 0;

    bool empty() const { return offset >= size; }
    std::uint8_t byte() { return empty() ? 0 : data[offset++]; }
    // The next `count` bytes as a number, the first most significant unless `littleEndian`.
    std::uint64_t number(int count, bool littleEndian = false) {
        std::uint64_t value = 0;
        for (int i = 0; i < count; ++i)
            value = littleEndian ? value | std::uint64_t{byte()} << 8 * i : value << 8 | byte();
        return value;
    }
};

} // namespace quillvane
