#pragma once

#include <cstdint>

#include "pointer/ScrollEvent.h"

namespace quillvane {

// Whole wheel steps to post for a pixel scroll event, signed the way the event was: positive
// vertical steps scroll towards the top of the page, positive horizontal steps towards its left.
struct WheelSteps {
    std::int32_t vertical = 0;
    std::int32_t horizontal = 0;

    friend bool operator==(const WheelSteps&, const WheelSteps&) = default;
};

// Turns the exact pixel amounts of trackpad-like scrolling into the whole wheel steps of a
// display server that knows nothing finer, carrying what is left over (with its sign, per axis)
// into the next event so that slow scrolling still scrolls. A gesture's stages bound the carry:
// a new gesture starts from nothing, and one that ends or whose momentum ends settles its last
// part to the nearest whole step instead of leaving it for an unrelated later scroll.
class WheelStepAccumulator {
public:
    // One wheel step stands for this many pixels. Toolkits scroll about three lines per wheel
    // step, some 50 to 70 pixels in GTK, Qt and the browsers, so posting a step per 50 pixels
    // moves the page about as far as the pixels say: the content follows the fingers as it does
    // with a trackpad, where a slow drag yields a few pixels per event and a flick hundreds.
    static constexpr std::int32_t pixelsPerStep = 50;

    WheelSteps add(const ScrollEvent& event);

private:
    std::int64_t m_vertical = 0;
    std::int64_t m_horizontal = 0;
};

} // namespace quillvane
