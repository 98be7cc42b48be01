#pragma once

#include <cstdint>
#include <utility>

#include "pointer/ScrollEvent.h"

namespace quillvane {

// What one scroll event becomes on a kernel wheel device: high-resolution units (120 per detent,
// REL_WHEEL_HI_RES) for the clients that read them, and whole detents (REL_WHEEL) for the ones
// that do not. Both are signed as the kernel signs them: a positive vertical value is a wheel
// turned away from the user (the page scrolls towards its top), a positive horizontal value a
// tilt to the right.
struct WheelMotion {
    std::int32_t verticalHiRes = 0;
    std::int32_t horizontalHiRes = 0;
    std::int32_t verticalDetents = 0;
    std::int32_t horizontalDetents = 0;

    friend bool operator==(const WheelMotion&, const WheelMotion&) = default;
};

// Turns exact scroll pixels into wheel motion, keeping what does not fill a unit (and, for the
// detents, what does not fill a detent) for the next event, so that slow scrolling still scrolls
// and the detents always add up to the high-resolution units sent. A new gesture starts from
// nothing.
class HiResWheel {
public:
    static constexpr std::int32_t unitsPerDetent = 120;
    // One detent stands for this many pixels, as on the X11 backend: about what toolkits scroll
    // per wheel step.
    static constexpr std::int32_t pixelsPerDetent = 50;

    WheelMotion add(const ScrollEvent& event);

private:
    struct Axis {
        // Pixels times unitsPerDetent not yet sent as a unit.
        std::int64_t scaledPixels = 0;
        // Units sent since the last whole detent.
        std::int64_t unitsSinceDetent = 0;

        // Returns {units, detents} for `pixels` more.
        std::pair<std::int32_t, std::int32_t> add(std::int64_t pixels);
    };

    Axis m_vertical;
    Axis m_horizontal;
};

} // namespace quillvane
