#include <gtest/gtest.h>

#include <cmath>

#include "pointer/TrackpadScrollOutput.h"

using namespace quillvane;
using Phase = TrackpadScrollPhase;

namespace {

ScrollEvent scroll(int horizontal, int vertical, ScrollEvent::Phase phase,
                   ScrollEvent::Momentum momentum = ScrollEvent::Momentum::none) {
    return {vertical, horizontal, true, phase, momentum};
}

} // namespace

TEST(ScrollPixelAccumulator, carriesSignedFractions) {
    ScrollPixelAccumulator pixels;
    EXPECT_EQ(pixels.add(-0.6, 2.5), (TrackpadVector{0, 2}));
    EXPECT_EQ(pixels.add(-0.6, 0.5), (TrackpadVector{-1, 1}));
    EXPECT_NEAR(pixels.remainder().x, -0.2, 1e-12);
    EXPECT_EQ(pixels.add(NAN, 1), (TrackpadVector{}));
    EXPECT_NEAR(pixels.remainder().x, -0.2, 1e-12);
}

TEST(TrackpadScrollOutput, stageBoundariesAlwaysSendAnEvent) {
    TrackpadScrollOutput out;
    EXPECT_EQ(out.event(0.4, 0, Phase::began), scroll(0, 0, ScrollEvent::Phase::began));
    EXPECT_EQ(out.event(0.7, 0, Phase::changed), scroll(1, 0, ScrollEvent::Phase::changed));
    EXPECT_NEAR(out.pixels().remainder().x, 0.1, 1e-12);
    EXPECT_EQ(out.event(0.3, -0.2, Phase::changed), std::nullopt);
    EXPECT_EQ(out.event(0, -3, Phase::ended), scroll(0, -3, ScrollEvent::Phase::ended));
    EXPECT_FALSE(out.scrolling());
    EXPECT_EQ(out.event(0.5, 0, Phase::momentumBegan),
              scroll(0, 0, ScrollEvent::Phase::none, ScrollEvent::Momentum::began));
    EXPECT_EQ(out.event(0, 0, Phase::momentumChanged), std::nullopt);
    EXPECT_EQ(out.event(0, 0.4, Phase::momentumChanged), std::nullopt);
    // Fractions carried through the momentum go out with its end, and nothing is kept.
    EXPECT_EQ(out.event(0.5, 0.9, Phase::momentumEnded),
              scroll(1, 1, ScrollEvent::Phase::none, ScrollEvent::Momentum::ended));
    EXPECT_EQ(out.pixels().remainder(), (TrackpadVector{}));
}

TEST(TrackpadScrollOutput, beganDropsStaleFractionsAndCancelledDropsItsOwn) {
    TrackpadScrollOutput out;
    EXPECT_EQ(out.event(0.3, 0.3, Phase::changed), std::nullopt);
    EXPECT_EQ(out.event(0.9, 0, std::nullopt), scroll(1, 0, ScrollEvent::Phase::none));
    out.event(0, 0.9, std::nullopt);
    EXPECT_EQ(out.event(0.9, 0.9, Phase::began), scroll(0, 0, ScrollEvent::Phase::began));
    out.event(0, 0.7, Phase::changed);
    EXPECT_EQ(out.event(0, 0, Phase::cancelled), scroll(0, 0, ScrollEvent::Phase::cancelled));
    EXPECT_EQ(out.pixels().remainder(), (TrackpadVector{}));
}

TEST(TrackpadScrollOutput, outOfRangeStepsAreIgnoredWithoutStateChange) {
    TrackpadScrollOutput out;
    EXPECT_EQ(out.event(2000.5, 0, Phase::began), std::nullopt);
    EXPECT_EQ(out.event(0, NAN, Phase::began), std::nullopt);
    EXPECT_FALSE(out.scrolling());
    EXPECT_EQ(out.event(-2000, 2000, std::nullopt), scroll(-2000, 2000, ScrollEvent::Phase::none));
}

TEST(TrackpadScrollOutput, closeEndsWhatIsOpen) {
    TrackpadScrollOutput out;
    EXPECT_EQ(out.close(), std::nullopt);
    out.event(0, 0.9, Phase::began);
    EXPECT_EQ(out.close(), scroll(0, 0, ScrollEvent::Phase::cancelled));
    EXPECT_EQ(out.close(), std::nullopt);
    out.event(0, 0, Phase::began);
    out.event(0, 0.9, Phase::momentumBegan);
    EXPECT_EQ(out.close(), scroll(0, 0, ScrollEvent::Phase::none, ScrollEvent::Momentum::ended));
    EXPECT_FALSE(out.momentum());
    EXPECT_FALSE(out.scrolling());
    // A phase-less fraction is dropped on close as well.
    out.event(0, 0.9, std::nullopt);
    EXPECT_EQ(out.close(), std::nullopt);
    EXPECT_EQ(out.event(0, 0.2, std::nullopt), std::nullopt);
}
