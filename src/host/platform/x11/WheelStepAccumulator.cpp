#include "WheelStepAccumulator.h"

namespace quillvane {
namespace {

// Whole steps in `pixels`, truncated toward zero; `pixels` keeps the rest.
std::int32_t takeWholeSteps(std::int64_t& pixels) {
    const std::int64_t steps = pixels / WheelStepAccumulator::pixelsPerStep;
    pixels -= steps * WheelStepAccumulator::pixelsPerStep;
    return static_cast<std::int32_t>(steps);
}

// The nearest whole step of a leftover below one step, half a step rounding away from zero.
std::int32_t settle(std::int64_t pixels) {
    const std::int64_t doubled = 2 * pixels;
    if (doubled >= WheelStepAccumulator::pixelsPerStep)
        return 1;
    if (doubled <= -WheelStepAccumulator::pixelsPerStep)
        return -1;
    return 0;
}

} // namespace

WheelSteps WheelStepAccumulator::add(const ScrollEvent& event) {
    using Phase = ScrollEvent::Phase;
    using Momentum = ScrollEvent::Momentum;
    if (event.phase == Phase::began) {
        m_vertical = 0;
        m_horizontal = 0;
    }
    m_vertical += event.wheel1;
    m_horizontal += event.wheel2;
    WheelSteps steps{takeWholeSteps(m_vertical), takeWholeSteps(m_horizontal)};

    const bool settles = event.phase == Phase::ended || event.momentum == Momentum::ended;
    if (settles) {
        steps.vertical += settle(m_vertical);
        steps.horizontal += settle(m_horizontal);
    }
    if (settles || event.phase == Phase::cancelled) {
        m_vertical = 0;
        m_horizontal = 0;
    }
    return steps;
}

} // namespace quillvane
