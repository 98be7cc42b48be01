#pragma once

#include <array>

#include "controller/AirMouse.h"
#include "controller/TouchPoint.h"

namespace quillvane {

// One recorded input of a controller trace: a finger report, a gyroscope sample (rad/s about
// x, y, z) or an air-mouse button going down or up.
struct TraceEvent {
    enum class Kind { touch, motion, button };

    Kind kind = Kind::touch;
    double time = 0;
    TouchPoint touch;
    std::array<double, 3> rate{};
    AirMouse::Button button = AirMouse::Button::left;
    bool down = false;
};

} // namespace quillvane
