#include "ScrollPixelAccumulator.h"

#include <cmath>

namespace quillvane {

TrackpadVector ScrollPixelAccumulator::add(double x, double y) {
    if (!std::isfinite(x) || !std::isfinite(y))
        return {};
    const TrackpadVector sum{x + m_remainder.x, y + m_remainder.y};
    const TrackpadVector whole{std::trunc(sum.x), std::trunc(sum.y)};
    m_remainder = {sum.x - whole.x, sum.y - whole.y};
    return whole;
}

} // namespace quillvane
