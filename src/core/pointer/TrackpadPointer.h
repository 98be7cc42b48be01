#pragma once

#include <optional>

#include "protocol/WireMessage.h"

namespace quillvane {

// Phone side: turns raw finger deltas into accelerated pointer deltas. Slow, careful motion is
// damped for precision and fast flicks are amplified to cross the screen, following a smoothed
// finger speed so one jittery sample does not jerk the gain.
class TrackpadPointer {
public:
    // Starts a new pointing gesture at `time` (seconds); the speed history is dropped.
    void reset(double time);

    // The pointer delta to send for a finger delta (x, y) sampled at `time`. `acceleration` is
    // the user's setting; 0 passes deltas unchanged, 1 (the largest effective value) gives the
    // full curve. A non-finite input or a sample not later than the previous one yields (0, 0)
    // and changes nothing.
    TrackpadVector move(double x, double y, double time, double acceleration);

    std::optional<double> timestamp() const { return m_timestamp; }
    std::optional<double> speed() const { return m_speed; }

private:
    std::optional<double> m_timestamp;
    std::optional<double> m_speed;
};

} // namespace quillvane
