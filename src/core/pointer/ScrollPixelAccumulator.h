#pragma once

#include "protocol/WireMessage.h"

namespace quillvane {

// Turns fractional scroll deltas into whole pixels without losing the fractions: what is not sent
// now is carried, with its own sign on each axis, into the next step, so slow scrolling still
// moves.
class ScrollPixelAccumulator {
public:
    // The whole pixels to send for this delta (truncated toward zero). A non-finite delta sends
    // nothing and leaves the carried fraction alone.
    TrackpadVector add(double x, double y);
    void reset() { m_remainder = {}; }

    TrackpadVector remainder() const { return m_remainder; }

private:
    TrackpadVector m_remainder;
};

} // namespace quillvane
