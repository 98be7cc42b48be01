#include <gtest/gtest.h>

#include <cmath>

#include "pointer/TrackpadPointer.h"

using namespace quillvane;

TEST(TrackpadPointer, slowMotionIsDampedAndFastMotionAmplified) {
    TrackpadPointer slow;
    slow.reset(0);
    // 0.1 points per 1/60 s = 6 points per second, below the ramp.
    EXPECT_NEAR(slow.move(0.1, 0, 1.0 / 60, 1).x, 0.1 * 0.65, 1e-12);

    TrackpadPointer fast;
    fast.reset(0);
    // 30 points in 1/60 s = 1800 points per second, beyond the ramp.
    const TrackpadVector out = fast.move(30, -40, 1.0 / 60, 1);
    EXPECT_NEAR(out.x, 30 * 2.4, 1e-9);
    EXPECT_NEAR(out.y, -40 * 2.4, 1e-9);

    TrackpadPointer half;
    half.reset(0);
    EXPECT_NEAR(half.move(30, 0, 1.0 / 60, 0.5).x, 30 * 1.7, 1e-9);
}

TEST(TrackpadPointer, accelerationSettingOutsideRangeIsClamped) {
    for (double a : {0.0, -1.0, double(NAN), double(INFINITY)}) {
        TrackpadPointer p;
        EXPECT_EQ(p.move(30, 0, 1, a).x, 30) << a;
    }
    TrackpadPointer big;
    EXPECT_NEAR(big.move(30, 0, 1, 7).x, 30 * 2.4, 1e-9);
}

TEST(TrackpadPointer, firstSampleAssumesOneFrameAndRepeatedTimeGivesNothing) {
    TrackpadPointer p;
    p.move(10, 0, 5.0, 1);
    EXPECT_NEAR(*p.speed(), 600, 1e-9);
    EXPECT_EQ(p.move(10, 0, 5.0, 1), (TrackpadVector{}));
    EXPECT_EQ(p.move(10, 0, 4.9, 1), (TrackpadVector{}));
    EXPECT_EQ(p.move(NAN, 0, 6.0, 1), (TrackpadVector{}));
    EXPECT_EQ(*p.timestamp(), 5.0);
}

TEST(TrackpadPointer, speedIsSmoothedWithinAGestureAndRestartsAfterAPause) {
    TrackpadPointer p;
    p.reset(0);
    p.move(30, 0, 0.01, 1);   // 3000 points per second
    p.move(0.01, 0, 0.02, 1); // 1 point per second raw
    const double k = 1 - std::exp(-0.01 / 0.012);
    EXPECT_NEAR(*p.speed(), 3000 + k * (1 - 3000), 1e-9);
    // A lone slow sample right after a flick keeps most of the flick's gain.
    EXPECT_GT(p.move(0.01, 0, 0.03, 1).x, 0.01);
    p.move(0.01, 0, 0.33, 1); // 0.3 s later: raw speed only
    EXPECT_NEAR(*p.speed(), 0.01 / 0.3, 1e-9);
}
