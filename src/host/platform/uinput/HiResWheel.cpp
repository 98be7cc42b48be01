#include "HiResWheel.h"

#include <utility>

namespace quillvane {

std::pair<std::int32_t, std::int32_t> HiResWheel::Axis::add(std::int64_t pixels) {
    scaledPixels += pixels * unitsPerDetent;
    const std::int64_t units = scaledPixels / pixelsPerDetent;
    scaledPixels -= units * pixelsPerDetent;
    unitsSinceDetent += units;
    const std::int64_t detents = unitsSinceDetent / unitsPerDetent;
    unitsSinceDetent -= detents * unitsPerDetent;
    return {static_cast<std::int32_t>(units), static_cast<std::int32_t>(detents)};
}

WheelMotion HiResWheel::add(const ScrollEvent& event) {
    if (event.phase == ScrollEvent::Phase::began) {
        m_vertical = {};
        m_horizontal = {};
    }
    // A Mac's positive horizontal pixels move the view towards the page's left, which is the
    // kernel's negative horizontal wheel; the vertical senses agree.
    const auto [verticalUnits, verticalDetents] = m_vertical.add(event.wheel1);
    const auto [horizontalUnits, horizontalDetents] = m_horizontal.add(-std::int64_t{event.wheel2});
    return {verticalUnits, horizontalUnits, verticalDetents, horizontalDetents};
}

} // namespace quillvane
