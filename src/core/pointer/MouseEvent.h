#pragma once

#include <cstdint>

#include "protocol/WireMessage.h"

namespace quillvane {

// The kinds of mouse event the input rules produce. The numbers are the widespread event-type
// numbering (left down 1 … left dragged 6), so a backend that uses it can pass them through.
enum class MouseEventType {
    leftDown = 1,
    leftUp = 2,
    rightDown = 3,
    rightUp = 4,
    moved = 5,
    leftDragged = 6,
};

// A mouse event to be posted, as a plain value: what happened, where (global points), and the
// click state that lets applications tell a single click from a double click or a
// double-click-drag. The platform layer turns it into a real event.
struct MouseEvent {
    MouseEventType type = MouseEventType::moved;
    TrackpadVector position;
    // 1 for a single click, 2 for a double click, and so on; 0 for plain pointer motion.
    std::int64_t clickState = 0;

    friend bool operator==(const MouseEvent&, const MouseEvent&) = default;
};

} // namespace quillvane
