#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/Uuid.h"

namespace quillvane {

// Indices [begin, end) of one row of the quick-key strip.
struct QuickKeyRow {
    std::size_t begin = 0;
    std::size_t end = 0;
    friend bool operator==(const QuickKeyRow&, const QuickKeyRow&) = default;
};

// One key of the phone's quick-key strip, sent as a key message: a macOS virtual key code and a
// modifier mask in CGEventFlags layout.
struct QuickKey {
    // Draws a fresh id for each default key; the core draws no random numbers of its own.
    using UuidSource = std::function<Uuid()>;

    static constexpr std::size_t keyCount = 13;
    // Four editing keys, four command shortcuts, five navigation keys.
    static constexpr std::array<QuickKeyRow, 3> rowRanges = {{{0, 4}, {4, 8}, {8, 13}}};

    Uuid id;
    std::string label;
    std::uint16_t code = 0;
    std::uint64_t flags = 0;

    friend bool operator==(const QuickKey&, const QuickKey&) = default;

    // The thirteen keys of the strip, each with a new id.
    static std::vector<QuickKey> defaults(const UuidSource& newId);

    // The saved strip. Thirteen keys load as stored; four keys (the earlier one-row layout) become
    // the middle row of the defaults; anything else, or text that does not decode, gives the
    // defaults. `newId` is called only when defaults are needed.
    static std::vector<QuickKey> load(std::string_view json, const UuidSource& newId);
    // The same rules for a list already read.
    static std::vector<QuickKey> fromStored(std::vector<QuickKey> stored, const UuidSource& newId);

    // JSON array text; throws JsonError for a label that is not valid UTF-8.
    static std::string encode(const std::vector<QuickKey>& keys);
};

} // namespace quillvane
