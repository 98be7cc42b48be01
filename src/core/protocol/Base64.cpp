#include "Base64.h"

#include <array>
#include <cstring>

namespace quillvane {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr int alphabetValue(unsigned char c) {
    for (int i = 0; i < 64; ++i)
        if (static_cast<unsigned char>(kAlphabet[i]) == c)
            return i;
    return -1;
}

// Four lookup tables, one per position in a quartet, each holding the character's six bits
// already shifted into place in a little-endian 32-bit word of the three output bytes. OR-ing the
// four entries yields the three bytes at once; an invalid character sets bit 24, so one compare
// per quartet validates it. Decoding a 4,800-sample audio packet is on the hot path.
constexpr std::uint32_t kInvalid = 0x01FFFFFF;

template <int Position>
constexpr std::array<std::uint32_t, 256> makeTable() {
    std::array<std::uint32_t, 256> table{};
    for (int c = 0; c < 256; ++c) {
        const int v = alphabetValue(static_cast<unsigned char>(c));
        if (v < 0) {
            table[c] = kInvalid;
            continue;
        }
        const auto u = static_cast<std::uint32_t>(v);
        if constexpr (Position == 0)
            table[c] = u << 2;
        else if constexpr (Position == 1)
            table[c] = (u >> 4) | ((u & 0x0F) << 12);
        else if constexpr (Position == 2)
            table[c] = ((u >> 2) << 8) | ((u & 0x03) << 22);
        else
            table[c] = u << 16;
    }
    return table;
}

constexpr auto kDecode0 = makeTable<0>();
constexpr auto kDecode1 = makeTable<1>();
constexpr auto kDecode2 = makeTable<2>();
constexpr auto kDecode3 = makeTable<3>();

inline std::uint32_t decodeQuartet(const unsigned char* in) {
    return kDecode0[in[0]] | kDecode1[in[1]] | kDecode2[in[2]] | kDecode3[in[3]];
}

inline void storeTriplet(std::uint8_t* out, std::uint32_t word) {
    out[0] = static_cast<std::uint8_t>(word);
    out[1] = static_cast<std::uint8_t>(word >> 8);
    out[2] = static_cast<std::uint8_t>(word >> 16);
}

} // namespace

void appendBase64(std::string& out, std::span<const std::uint8_t> bytes) {
    const std::size_t start = out.size();
    out.resize(start + (bytes.size() + 2) / 3 * 4);
    char* dst = out.data() + start;
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const std::uint32_t v = std::uint32_t{bytes[i]} << 16 | std::uint32_t{bytes[i + 1]} << 8 |
                                bytes[i + 2];
        *dst++ = kAlphabet[v >> 18];
        *dst++ = kAlphabet[(v >> 12) & 0x3F];
        *dst++ = kAlphabet[(v >> 6) & 0x3F];
        *dst++ = kAlphabet[v & 0x3F];
    }
    const std::size_t rest = bytes.size() - i;
    if (rest == 0)
        return;
    std::uint32_t v = std::uint32_t{bytes[i]} << 16;
    if (rest == 2)
        v |= std::uint32_t{bytes[i + 1]} << 8;
    *dst++ = kAlphabet[v >> 18];
    *dst++ = kAlphabet[(v >> 12) & 0x3F];
    *dst++ = rest == 2 ? kAlphabet[(v >> 6) & 0x3F] : '=';
    *dst = '=';
}

std::string base64Encode(std::span<const std::uint8_t> bytes) {
    std::string out;
    appendBase64(out, bytes);
    return out;
}

bool base64Decode(std::string_view text, Bytes& out) {
    out.clear();
    if (text.size() % 4 != 0)
        return false;
    if (text.empty())
        return true;

    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t quartets = text.size() / 4;
    std::size_t padding = 0;
    if (in[text.size() - 1] == '=')
        padding = in[text.size() - 2] == '=' ? 2 : 1;

    out.resize(quartets * 3);
    std::uint8_t* dst = out.data();
    std::uint32_t invalid = 0;
    for (std::size_t q = 0; q + 1 < quartets; ++q, in += 4, dst += 3) {
        const std::uint32_t word = decodeQuartet(in);
        invalid |= word;
        storeTriplet(dst, word);
    }
    if (invalid & 0xFF000000u)
        return false;

    // The last quartet may carry padding. Its unused bits must be zero, as only the canonical
    // encoding of the bytes is accepted.
    unsigned char last[4];
    std::memcpy(last, in, 4);
    if (padding == 2) {
        last[2] = 'A';
        last[3] = 'A';
    } else if (padding == 1) {
        last[3] = 'A';
    }
    const std::uint32_t word = decodeQuartet(last);
    if (word & 0xFF000000u)
        return false;
    if ((padding == 2 && (word & 0xFFFF00u)) || (padding == 1 && (word & 0xFF0000u)))
        return false;
    storeTriplet(dst, word);
    out.resize(out.size() - padding);
    return true;
}

} // namespace quillvane
