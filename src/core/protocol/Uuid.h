#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quillvane {

// A 128-bit identifier, written in the canonical 8-4-4-4-12 form with upper-case hexadecimal and
// read in either case. The core never draws random numbers itself: callers hand in the bytes.
class Uuid {
public:
    using Bytes16 = std::array<std::uint8_t, 16>;

    constexpr Uuid() = default;
    explicit constexpr Uuid(const Bytes16& bytes) : m_bytes(bytes) {}

    // A version-4 (random) UUID from 16 random bytes; the version and variant bits are set.
    static Uuid fromRandomBytes(Bytes16 random);
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;
    const Bytes16& bytes() const { return m_bytes; }

    friend constexpr bool operator==(const Uuid&, const Uuid&) = default;
    // Byte by byte, written out because the WebAssembly build's C++ library has no <=> for
    // std::array.
    friend constexpr std::strong_ordering operator<=>(const Uuid& a, const Uuid& b) {
        for (std::size_t i = 0; i < a.m_bytes.size(); ++i)
            if (a.m_bytes[i] != b.m_bytes[i])
                return a.m_bytes[i] <=> b.m_bytes[i];
        return std::strong_ordering::equal;
    }

private:
    Bytes16 m_bytes{};
};

} // namespace quillvane

template <>
struct std::hash<quillvane::Uuid> {
    std::size_t operator()(const quillvane::Uuid& id) const noexcept {
        // 64-bit FNV-1a, folded to the platform's size_t (32 bits in WebAssembly).
        std::uint64_t h = 1469598103934665603ull;
        for (auto b : id.bytes())
            h = (h ^ b) * 1099511628211ull;
        return static_cast<std::size_t>(h ^ (h >> 32));
    }
};
