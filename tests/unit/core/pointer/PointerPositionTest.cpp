#include <gtest/gtest.h>

#include <cmath>

#include "pointer/PointerPosition.h"

using namespace quillvane;

TEST(PointerPosition, laggingReportOfOwnPositionKeepsTheCommandedOne) {
    PointerPosition position;
    EXPECT_EQ(position.resolve({100, 100}, 1.0), (TrackpadVector{100, 100}));
    position.record({110, 100});
    position.record({120, 100});
    position.record({130, 100});
    // The system still reports the first posted position, rounded: the commanded one stands.
    EXPECT_EQ(position.resolve({110.6, 99.5}, 1.05), (TrackpadVector{130, 100}));
    EXPECT_EQ(position.trail().size(), 2u);
    // The same report again, still soon: the system has not caught up yet.
    EXPECT_EQ(position.resolve({110.6, 99.5}, 1.2), (TrackpadVector{130, 100}));
    EXPECT_EQ(position.resolve({130, 100}, 1.3), (TrackpadVector{130, 100}));
    EXPECT_TRUE(position.trail().empty());
}

TEST(PointerPosition, realMouseMotionOrQuietWins) {
    PointerPosition position;
    position.resolve({100, 100}, 1.0);
    position.record({110, 100});
    // Nowhere near anything posted: the user moved the mouse.
    EXPECT_EQ(position.resolve({300, 40}, 1.01), (TrackpadVector{300, 40}));
    EXPECT_TRUE(position.trail().empty());

    position.record({310, 40});
    // The same report 0.3 s later means the posted position was overridden.
    EXPECT_EQ(position.resolve({300, 40}, 1.31), (TrackpadVector{300, 40}));

    position.record({320, 40});
    // A recognised report after a quiet spell is adopted as well.
    EXPECT_EQ(position.resolve({320.5, 40}, 2.0), (TrackpadVector{320.5, 40}));
    position.record({330, 40});
    // So is any report when the clock went backwards.
    EXPECT_EQ(position.resolve({330.5, 40}, 1.5), (TrackpadVector{330.5, 40}));
}

TEST(PointerPosition, nearestTrailEntryWithinOnePointIsRecognised) {
    PointerPosition position;
    position.resolve({0, 0}, 1.0);
    for (double x : {10.0, 20.0, 10.0, 30.0})
        position.record({x, 0});
    // Equally near the two 10s: the older is taken, so the newer stays in the trail.
    position.resolve({10, 1}, 1.01);
    EXPECT_EQ(position.trail(), (std::vector<TrackpadVector>{{20, 0}, {10, 0}, {30, 0}}));
    EXPECT_EQ(position.resolve({21.01, 0}, 1.02), (TrackpadVector{21.01, 0}));
}

TEST(PointerPosition, trailKeepsTheLatestEntriesAndNonFiniteForgets) {
    PointerPosition position;
    for (int i = 0; i < 200; ++i)
        position.record({double(i), 0});
    ASSERT_EQ(position.trail().size(), PointerPosition::maximumTrail);
    EXPECT_EQ(position.trail().front().x, 72);
    position.resolve({5, 5}, 1.0);
    position.record({NAN, 0});
    EXPECT_FALSE(position.commanded());
    EXPECT_FALSE(position.lastObserved());
    position.record({1, 1});
    const TrackpadVector nan{NAN, 0};
    EXPECT_TRUE(std::isnan(position.resolve(nan, 1.1).x));
    EXPECT_FALSE(position.commanded());
    EXPECT_TRUE(position.trail().empty());
}
