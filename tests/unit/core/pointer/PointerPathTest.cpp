#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "pointer/PointerPath.h"

using namespace quillvane;

namespace {

// Two 1000x800 displays side by side with a 100-point gap, the right one 200 points lower.
const std::vector<DisplayRect> gapped{{0, 0, 1000, 800}, {1100, 200, 1000, 800}};

TrackpadVector clamp(TrackpadVector p, const std::vector<DisplayRect>& screens = gapped) {
    return PointerPath::clamped(p, screens);
}

} // namespace

TEST(PointerPath, pointsOnADisplayStayPut) {
    EXPECT_EQ(clamp({999.5, 799.5}), (TrackpadVector{999.5, 799.5}));
    EXPECT_EQ(clamp({1100, 200}), (TrackpadVector{1100, 200}));
    EXPECT_EQ(clamp({-5e6, 3}, {}), (TrackpadVector{-5e6, 3}));
}

TEST(PointerPath, offScreenPointsLandOnePointInsideTheNearestDisplay) {
    EXPECT_EQ(clamp({2500, 500}), (TrackpadVector{2099, 500}));
    EXPECT_EQ(clamp({1000, 100}), (TrackpadVector{999, 100}));
    EXPECT_EQ(clamp({-30, -30}), (TrackpadVector{0, 0}));
    // In the gap, nearer the right display.
    EXPECT_EQ(clamp({1070, 300}), (TrackpadVector{1100, 300}));
    // In the gap below the left display: its corner is nearer than the right display's side.
    EXPECT_EQ(clamp({1010, 850}), (TrackpadVector{999, 799}));
    // Below both: the right display reaches 200 points lower.
    EXPECT_EQ(clamp({1060, 1200}), (TrackpadVector{1100, 999}));
}

TEST(PointerPath, equallyNearDisplaysGoToTheEarlierOne) {
    const std::vector<DisplayRect> stacked{{0, 0, 100, 100}, {0, 120, 100, 100}};
    EXPECT_EQ(clamp({50, 110}, stacked), (TrackpadVector{50, 99}));
    const std::vector<DisplayRect> reversed{stacked[1], stacked[0]};
    EXPECT_EQ(clamp({50, 110}, reversed), (TrackpadVector{50, 120}));
}

TEST(PointerPath, touchingDisplaysShareTheirEdgeWithoutClamping) {
    const std::vector<DisplayRect> touching{{0, 0, 100, 100}, {100, 0, 100, 100}};
    const std::vector<TrackpadVector> deltas{{99.5, 0}, {0.5, 0}, {99, 0}};
    EXPECT_EQ(PointerPath::positions({0, 50}, deltas, touching),
              (std::vector<TrackpadVector>{{99.5, 50}, {100, 50}, {199, 50}}));
}

TEST(PointerPath, pushingAgainstAnEdgeDoesNotBuildUp) {
    const std::vector<TrackpadVector> deltas{{500, 0}, {500, 0}, {-10, 0}};
    EXPECT_EQ(PointerPath::positions({800, 10}, deltas, {gapped.data(), 1}),
              (std::vector<TrackpadVector>{{999, 10}, {999, 10}, {989, 10}}));
    // Crossing the gap takes a delta that reaches the next display.
    const std::vector<TrackpadVector> across{{50, 0}, {151, 0}};
    EXPECT_EQ(PointerPath::positions({990, 300}, across, gapped),
              (std::vector<TrackpadVector>{{999, 300}, {1150, 300}}));
}

TEST(PointerPath, unusableRectanglesAndUnknownCoordinatesStillLandOnADisplay) {
    const std::vector<DisplayRect> screens{{0, 0, 0, 100}, {0, 0, NAN, 5}, {50, 50, 0.5, 10}};
    EXPECT_EQ(clamp({60, 70}, screens), (TrackpadVector{50, 59}));
    EXPECT_EQ(clamp({NAN, INFINITY}), (TrackpadVector{0, 799}));
    EXPECT_EQ(clamp({-INFINITY, 500}), (TrackpadVector{0, 500}));
}
