#pragma once

#include <cstdint>

namespace quillvane {

enum class TouchPhase {
    began,
    moved,
    ended,
    cancelled,
};

// One finger's report from the touch surface: its id (stable while the finger is down), its
// position in points, y growing downwards, and the time in seconds.
struct TouchPoint {
    std::int64_t id = 0;
    double x = 0;
    double y = 0;
    double time = 0;
    TouchPhase phase = TouchPhase::began;
};

} // namespace quillvane
