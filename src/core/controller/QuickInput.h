#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/Uuid.h"

namespace quillvane {

// A saved text snippet of the phone, typed on the computer as one text message.
struct QuickInput {
    // The most text one text message may carry, in UTF-16 code units.
    static constexpr std::size_t maxTextLength = 4096;

    Uuid id;
    std::string label;
    std::string text;

    friend bool operator==(const QuickInput&, const QuickInput&) = default;

    // A label that is not blank and a text the computer will accept.
    bool isValid() const;

    // The saved list, without invalid entries and without repeated ids (the first one stays).
    // Text that does not decode gives an empty list.
    static std::vector<QuickInput> load(std::string_view json);
    // The same rules for a list already read.
    static std::vector<QuickInput> fromStored(std::vector<QuickInput> stored);

    // JSON array text; throws JsonError for a label or text that is not valid UTF-8.
    static std::string encode(const std::vector<QuickInput>& inputs);
};

} // namespace quillvane
