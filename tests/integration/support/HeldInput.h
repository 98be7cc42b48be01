#pragma once

namespace quillvane::testing_support {

// What a client of the desktop sees held down at one moment: buttons and keys.
struct HeldInput {
    int buttons = 0;
    int keys = 0;

    bool operator==(const HeldInput&) const = default;
};

} // namespace quillvane::testing_support
