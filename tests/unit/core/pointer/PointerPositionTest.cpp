#include <gtest/gtest.h>

#include "pointer/PointerPosition.h"

using namespace quillvane;

TEST(PointerPosition, keepsTheCommandedPositionUntilRealMouseMotionOrQuiet) {
    PointerPosition position;
    EXPECT_EQ(position.resolve({100, 100}, 1.0), (TrackpadVector{100, 100}));
    for (double x : {110.0, 120.0, 110.0, 130.0})
        position.record({x, 100});
    // The system still reports an early posted position, rounded: the commanded one stands. Of
    // the two equally near 110s the older is taken, so the newer stays in the trail.
    EXPECT_EQ(position.resolve({110.6, 99.5}, 1.05), (TrackpadVector{130, 100}));
    EXPECT_EQ(position.trail(), (std::vector<TrackpadVector>{{120, 100}, {110, 100}, {130, 100}}));
    // The same report again, still soon: the system has not caught up yet.
    EXPECT_EQ(position.resolve({110.6, 99.5}, 1.2), (TrackpadVector{130, 100}));
    // The same report 0.3 s later: the posted position was overridden.
    EXPECT_EQ(position.resolve({110.6, 99.5}, 1.5), (TrackpadVector{110.6, 99.5}));

    position.record({140, 100});
    // Nowhere near anything posted: the user moved the mouse.
    EXPECT_EQ(position.resolve({300, 40}, 1.51), (TrackpadVector{300, 40}));
    EXPECT_TRUE(position.trail().empty());
    position.record({320, 40});
    // A recognised report after a quiet spell is adopted as well.
    EXPECT_EQ(position.resolve({320.5, 40}, 2.5), (TrackpadVector{320.5, 40}));
}
