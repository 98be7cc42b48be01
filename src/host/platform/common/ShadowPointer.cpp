#include "ShadowPointer.h"

#include <utility>

#include "pointer/PointerPath.h"

namespace quillvane {

void ShadowPointer::setDisplays(std::vector<DisplayRect> displays) {
    m_displays = std::move(displays);
    if (m_position)
        m_position = PointerPath::clamped(*m_position, m_displays);
}

TrackpadVector ShadowPointer::home() {
    m_position = PointerPath::clamped({-homingDistance, -homingDistance}, m_displays);
    return {-homingDistance, -homingDistance};
}

TrackpadVector ShadowPointer::moveTo(TrackpadVector target) {
    const TrackpadVector to = PointerPath::clamped(target, m_displays);
    const TrackpadVector from = m_position.value_or(to);
    m_position = to;
    return {to.x - from.x, to.y - from.y};
}

} // namespace quillvane
