#include "PointerPath.h"

#include <algorithm>
#include <cmath>

namespace quillvane {

namespace {

// Like std::clamp, but defined for lo > hi (gives lo) and for a NaN value (gives lo), so the
// result is always within [lo, max(lo, hi)].
double clampTo(double value, double lo, double hi) {
    if (!(value > lo))
        return lo;
    return value > hi ? std::max(lo, hi) : value;
}

double distance(TrackpadVector q, const DisplayRect& r) {
    return std::hypot(q.x - clampTo(q.x, r.minX(), r.maxX()),
                      q.y - clampTo(q.y, r.minY(), r.maxY()));
}

} // namespace

TrackpadVector PointerPath::clamped(TrackpadVector point, std::span<const DisplayRect> screens) {
    const DisplayRect* nearest = nullptr;
    double nearestDistance = 0;
    for (const auto& screen : screens) {
        if (!screen.isUsable())
            continue;
        if (screen.contains(point.x, point.y))
            return point;
        const double d = distance(point, screen);
        // Strictly nearer only, so a point equally far from two displays goes to the earlier one.
        if (!nearest || d < nearestDistance) {
            nearest = &screen;
            nearestDistance = d;
        }
    }
    if (!nearest)
        return point;
    // The far edges are exclusive; one point inside keeps the pointer on this display even after
    // the platform rounds the position to whole pixels.
    return {clampTo(point.x, nearest->minX(), nearest->maxX() - 1),
            clampTo(point.y, nearest->minY(), nearest->maxY() - 1)};
}

std::vector<TrackpadVector> PointerPath::positions(TrackpadVector start,
                                                   std::span<const TrackpadVector> deltas,
                                                   std::span<const DisplayRect> screens) {
    std::vector<TrackpadVector> out;
    out.reserve(deltas.size());
    TrackpadVector p = start;
    for (const auto& delta : deltas) {
        p = clamped({p.x + delta.x, p.y + delta.y}, screens);
        out.push_back(p);
    }
    return out;
}

} // namespace quillvane
