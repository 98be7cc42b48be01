#include "MouseClickOutput.h"

#include <cmath>
#include <limits>

namespace quillvane {

namespace {

bool isFinite(TrackpadVector p) {
    return std::isfinite(p.x) && std::isfinite(p.y);
}

bool isValidInput(TrackpadVector position, double time, double interval) {
    return isFinite(position) && std::isfinite(time) && std::isfinite(interval) && interval > 0;
}

std::int64_t nextCount(std::int64_t count) {
    return count == std::numeric_limits<std::int64_t>::max() ? count : count + 1;
}

} // namespace

void MouseClickOutput::moved(TrackpadVector position) {
    if (!m_previous)
        return;
    const bool inReach =
        isFinite(position) && std::hypot(position.x - m_previous->position.x,
                                         position.y - m_previous->position.y) <= tolerance;
    if (!inReach)
        m_previous.reset();
}

std::vector<MouseEvent> MouseClickOutput::events(bool right, std::optional<bool> continuingClick,
                                                 TrackpadVector position, double time,
                                                 double interval) {
    if (!isValidInput(position, time, interval)) {
        m_previous.reset();
        return {};
    }
    moved(position);

    std::int64_t count = 1;
    if (continuingClick == false) {
        m_previous.reset();
    } else if (m_previous && m_previous->right == right && m_previous->time <= time &&
               (continuingClick == true || time - m_previous->time <= interval)) {
        count = nextCount(m_previous->count);
    }

    m_previous = Click{right, position, time, count};
    if (right)
        return {{MouseEventType::rightDown, position, count},
                {MouseEventType::rightUp, position, count}};
    return {{MouseEventType::leftDown, position, count}, {MouseEventType::leftUp, position, count}};
}

std::optional<MouseEvent> MouseClickOutput::beginDrag(TrackpadVector position, bool continuingClick,
                                                      double time, double interval) {
    if (m_heldClickCount)
        return std::nullopt;
    if (!continuingClick)
        m_previous.reset();
    if (!isValidInput(position, time, interval)) {
        m_previous.reset();
        return std::nullopt;
    }
    moved(position);

    std::int64_t count = 1;
    if (continuingClick && m_previous && !m_previous->right && m_previous->time <= time)
        count = nextCount(m_previous->count);

    m_previous = Click{false, position, time, count};
    m_heldClickCount = count;
    return MouseEvent{MouseEventType::leftDown, position, count};
}

std::optional<MouseEvent> MouseClickOutput::dragged(TrackpadVector position) const {
    if (!m_heldClickCount || !isFinite(position))
        return std::nullopt;
    return MouseEvent{MouseEventType::leftDragged, position, *m_heldClickCount};
}

std::optional<MouseEvent> MouseClickOutput::endDrag(TrackpadVector position) {
    if (!m_heldClickCount)
        return std::nullopt;
    const std::int64_t count = *m_heldClickCount;
    m_heldClickCount.reset();
    if (!isFinite(position))
        return std::nullopt;
    return MouseEvent{MouseEventType::leftUp, position, count};
}

} // namespace quillvane
