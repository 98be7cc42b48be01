#pragma once

#include <optional>

#include "pointer/ScrollEvent.h"
#include "pointer/ScrollPixelAccumulator.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// Turns the phone's scroll steps (a delta in points and an optional gesture phase) into
// pixel-unit scroll events with trackpad-like stage markers, so applications see a scroll begin,
// change, end and coast. Stage boundaries always produce an event, even of zero pixels; in-between
// steps produce one only when there is a whole pixel to send.
class TrackpadScrollOutput {
public:
    static constexpr double maximumDelta = 2000;

    // The event for one step, or none: for a step that is not finite or beyond ±2000 points (no
    // state changes then), or for a changed, momentum-changed or phase-less step with no whole
    // pixel yet.
    std::optional<ScrollEvent> event(double x, double y, std::optional<TrackpadScrollPhase> phase);

    // Closes whatever is open: a running momentum gets its momentum-ended event, an open gesture
    // its cancelled event, and otherwise there is none. The carried fraction is dropped in every
    // case.
    std::optional<ScrollEvent> close();

    bool scrolling() const { return m_scrolling; }
    bool momentum() const { return m_momentum; }
    const ScrollPixelAccumulator& pixels() const { return m_pixels; }

private:
    ScrollPixelAccumulator m_pixels;
    bool m_scrolling = false;
    bool m_momentum = false;
};

} // namespace quillvane
