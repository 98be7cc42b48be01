#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "pointer/PointerPath.h"

using namespace quillvane;

namespace {

// Two 1000x800 displays side by side with a 100-point gap, the right one 200 points lower.
const std::vector<DisplayRect> gapped{{0, 0, 1000, 800}, {1100, 200, 1000, 800}};

} // namespace

TEST(PointerPath, offScreenPointsLandOnePointInsideTheNearestDisplay) {
    const std::pair<TrackpadVector, TrackpadVector> rows[] = {
        {{999.5, 799.5}, {999.5, 799.5}}, // on a display: unchanged
        {{2500, 500}, {2099, 500}},       {{1000, 100}, {999, 100}}, {{-30, -30}, {0, 0}},
        {{1070, 300}, {1100, 300}},  // in the gap, nearer the right display
        {{1010, 850}, {999, 799}},   // below the left display: its corner is nearest
        {{1060, 1200}, {1100, 999}}, // below both: the right display reaches lower
        {{NAN, INFINITY}, {0, 799}},
    };
    for (const auto& [point, expected] : rows)
        EXPECT_EQ(PointerPath::clamped(point, gapped), expected) << point.x << ", " << point.y;

    // Unusable rectangles are passed over; of two equally near displays the earlier is taken.
    const std::vector<DisplayRect> stacked{{0, 0, NAN, 5}, {0, 0, 100, 100}, {0, 120, 100, 100}};
    EXPECT_EQ(PointerPath::clamped({50, 110}, stacked), (TrackpadVector{50, 99}));
}

TEST(PointerPath, pushingAgainstAnEdgeDoesNotBuildUp) {
    const std::vector<TrackpadVector> deltas{{500, 0}, {500, 0}, {-10, 0}};
    EXPECT_EQ(PointerPath::positions({800, 10}, deltas, std::span(gapped).first(1)),
              (std::vector<TrackpadVector>{{999, 10}, {999, 10}, {989, 10}}));
    // Crossing the gap takes a delta that reaches the next display.
    const std::vector<TrackpadVector> across{{50, 0}, {151, 0}};
    EXPECT_EQ(PointerPath::positions({990, 300}, across, gapped),
              (std::vector<TrackpadVector>{{999, 300}, {1150, 300}}));
    // Touching displays share their edge without clamping.
    const std::vector<DisplayRect> touching{{0, 0, 100, 100}, {100, 0, 100, 100}};
    const std::vector<TrackpadVector> steps{{99.5, 0}, {0.5, 0}};
    EXPECT_EQ(PointerPath::positions({0, 50}, steps, touching),
              (std::vector<TrackpadVector>{{99.5, 50}, {100, 50}}));
}
