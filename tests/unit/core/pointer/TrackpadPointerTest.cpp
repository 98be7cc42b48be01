#include <gtest/gtest.h>

#include <cmath>

#include "pointer/TrackpadPointer.h"

using namespace quillvane;

TEST(TrackpadPointer, dampsSlowMotionAndAmplifiesFastMotion) {
    // 6 points per second is below the ramp, 1800 beyond it; a setting above 1 counts as 1.
    const struct {
        double dx, acceleration, expected;
    } rows[] = {{0.1, 1, 0.1 * 0.65}, {30, 1, 30 * 2.4}, {30, 0.5, 30 * 1.7},
                {30, 7, 30 * 2.4},    {30, 0, 30},       {30, NAN, 30}};
    for (const auto& row : rows) {
        TrackpadPointer pointer;
        pointer.reset(0);
        EXPECT_NEAR(pointer.move(row.dx, 0, 1.0 / 60, row.acceleration).x, row.expected, 1e-9)
            << row.dx << " at " << row.acceleration;
    }
    // The first sample of a gesture assumes one frame; a repeated time gives nothing.
    TrackpadPointer p;
    EXPECT_NEAR(p.move(30, -40, 5.0, 1).y, -40 * 2.4, 1e-9);
    EXPECT_EQ(p.move(10, 0, 5.0, 1), (TrackpadVector{}));
    // A lone slow sample right after a flick keeps most of the flick's gain; after a pause not.
    EXPECT_GT(p.move(0.01, 0, 5.01, 1).x, 0.01);
    EXPECT_NEAR(p.move(0.01, 0, 5.31, 1).x, 0.01 * 0.65, 1e-12);
}
