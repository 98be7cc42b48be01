#include "TrackpadPointer.h"

#include <algorithm>
#include <cmath>

namespace quillvane {

namespace {

// The first sample of a gesture has no predecessor; one display frame is the likely interval.
constexpr double firstSampleInterval = 1.0 / 60.0;
// Caps the speed so a sample pair with a tiny interval cannot blow up the smoothed value.
constexpr double maximumSpeed = 4000;
// After a pause this long the old speed says nothing about the new motion.
constexpr double smoothingWindow = 0.2;
constexpr double smoothingTimeConstant = 0.012;
// The gain ramps between these finger speeds (points per second).
constexpr double slowSpeed = 30;
constexpr double fastSpeed = 650;

double effectiveAcceleration(double a) {
    if (!std::isfinite(a) || a <= 0)
        return 0;
    return std::min(a, 1.0);
}

} // namespace

void TrackpadPointer::reset(double time) {
    // A non-finite start time would make every later interval invalid; treat it as unknown so the
    // next sample falls back to the first-sample interval instead.
    m_timestamp = std::isfinite(time) ? std::optional<double>(time) : std::nullopt;
    m_speed.reset();
}

TrackpadVector TrackpadPointer::move(double x, double y, double time, double acceleration) {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(time))
        return {};
    const double dt = time - m_timestamp.value_or(time - firstSampleInterval);
    if (!(dt > 0))
        return {};

    m_timestamp = time;
    double v = std::min(std::hypot(x, y) / dt, maximumSpeed);
    if (dt < smoothingWindow && m_speed)
        v = *m_speed + (1 - std::exp(-dt / smoothingTimeConstant)) * (v - *m_speed);
    m_speed = v;

    const double t = std::clamp((v - slowSpeed) / (fastSpeed - slowSpeed), 0.0, 1.0);
    const double s = t * t * (3 - 2 * t);
    const double gain = 1 + effectiveAcceleration(acceleration) * (1.75 * s - 0.35);
    return {x * gain, y * gain};
}

} // namespace quillvane
