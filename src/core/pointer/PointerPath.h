#pragma once

#include <span>
#include <vector>

#include "pointer/DisplayRect.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// Accumulates pointer deltas into positions that stay on the displays. Displays may leave gaps
// between them, overlap or touch; a point off every display goes to the nearest one (the earlier
// in the list on a tie), one point inside its far edges.
struct PointerPath {
    PointerPath() = delete;

    // One position per delta: each is the previous position plus the delta, clamped, so pushing
    // against an edge never builds up a hidden overshoot. With no usable display nothing is
    // clamped.
    static std::vector<TrackpadVector> positions(TrackpadVector start,
                                                 std::span<const TrackpadVector> deltas,
                                                 std::span<const DisplayRect> screens);

    // `point` if a display contains it, otherwise the nearest point on the nearest display. A
    // coordinate that is not a number is taken as that display's top or left edge. Rectangles that
    // are not usable (DisplayRect::isUsable) are ignored.
    static TrackpadVector clamped(TrackpadVector point, std::span<const DisplayRect> screens);
};

} // namespace quillvane
