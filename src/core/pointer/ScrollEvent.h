#pragma once

#include <cstdint>

namespace quillvane {

// A scroll event to be posted, as a plain value: whole pixels on each wheel plus the stage
// markers of a trackpad-like gesture. Signs pass through unchanged (no natural-scrolling
// inversion). Backends that only know whole wheel steps convert the pixels themselves and keep
// their own remainder; the pixel values here are exact.
struct ScrollEvent {
    // Scroll stage of a finger gesture; the numbers are the ones posted with the event.
    enum class Phase : std::int32_t {
        none = 0,
        began = 1,
        changed = 2,
        ended = 4,
        cancelled = 8,
    };

    // Stage of the momentum (coasting) after the finger left; numbers as posted with the event.
    enum class Momentum : std::int32_t {
        none = 0,
        began = 1,
        changed = 2,
        ended = 3,
    };

    // Wheel 1: vertical pixels. Wheel 2: horizontal pixels.
    std::int32_t wheel1 = 0;
    std::int32_t wheel2 = 0;
    // Always set: the event carries precise pixel deltas, not wheel notches.
    bool continuous = true;
    Phase phase = Phase::none;
    Momentum momentum = Momentum::none;

    friend bool operator==(const ScrollEvent&, const ScrollEvent&) = default;
};

} // namespace quillvane
