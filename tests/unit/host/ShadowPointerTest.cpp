#include <gtest/gtest.h>

#include "platform/common/ShadowPointer.h"

using namespace quillvane;

// The shadow must end where the compositor puts the pointer: homed into the top-left corner,
// then every motion clamped onto the displays, and kept on them when they change.
TEST(ShadowPointer, followsClampedMotionFromTheHomedCorner) {
    ShadowPointer pointer;
    pointer.setDisplays({{0, 0, 1024, 768}, {1024, 0, 800, 600}});
    EXPECT_FALSE(pointer.position());
    EXPECT_EQ(pointer.home(), (TrackpadVector{-100'000, -100'000}));
    EXPECT_EQ(pointer.position(), (TrackpadVector{0, 0}));

    EXPECT_EQ(pointer.moveTo({100.5, 50}), (TrackpadVector{100.5, 50}));
    // Below the smaller display: the motion stops at its bottom edge.
    EXPECT_EQ(pointer.moveTo({1200, 700}), (TrackpadVector{1099.5, 549}));
    EXPECT_EQ(pointer.position(), (TrackpadVector{1200, 599}));

    pointer.setDisplays({{0, 0, 1024, 768}});
    EXPECT_EQ(pointer.position(), (TrackpadVector{1023, 599}));
    pointer.forget();
    EXPECT_FALSE(pointer.position());
}
