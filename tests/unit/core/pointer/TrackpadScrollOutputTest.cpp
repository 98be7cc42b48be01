#include <gtest/gtest.h>

#include <cmath>

#include "pointer/TrackpadScrollOutput.h"

using namespace quillvane;
using Phase = TrackpadScrollPhase;
using Sent = ScrollEvent::Phase;
using Momentum = ScrollEvent::Momentum;

namespace {

ScrollEvent scroll(int horizontal, int vertical, Sent phase, Momentum momentum = Momentum::none) {
    return {vertical, horizontal, true, phase, momentum};
}

} // namespace

TEST(TrackpadScrollOutput, stageBoundariesAlwaysSendAnEventAndFractionsCarryOver) {
    TrackpadScrollOutput out;
    EXPECT_EQ(out.event(0.3, 0.3, Phase::changed), std::nullopt);
    EXPECT_EQ(out.event(0.4, 0, Phase::began), scroll(0, 0, Sent::began));
    EXPECT_EQ(out.event(0.7, 0, Phase::changed), scroll(1, 0, Sent::changed));
    EXPECT_EQ(out.event(-0.6, -0.2, Phase::changed), std::nullopt);
    EXPECT_EQ(out.event(-0.6, -3, Phase::ended), scroll(-1, -3, Sent::ended));
    EXPECT_EQ(out.event(0.5, 0, Phase::momentumBegan), scroll(0, 0, Sent::none, Momentum::began));
    EXPECT_EQ(out.event(0, 0.4, Phase::momentumChanged), std::nullopt);
    // Fractions carried through the momentum go out with its end, and nothing is kept.
    EXPECT_EQ(out.event(0.5, 0.9, Phase::momentumEnded), scroll(0, 1, Sent::none, Momentum::ended));
    EXPECT_EQ(out.event(0.9, 0, std::nullopt), std::nullopt);
}

TEST(TrackpadScrollOutput, dropsFractionsAtStageEndsAndClosesWhatIsOpen) {
    TrackpadScrollOutput out;
    // A began drops what was left before it; a cancelled gesture drops its own remainder.
    out.event(0, 0.9, std::nullopt);
    EXPECT_EQ(out.event(0.9, 0.9, Phase::began), scroll(0, 0, Sent::began));
    out.event(0, 0.9, Phase::changed);
    EXPECT_EQ(out.event(0, 0, Phase::cancelled), scroll(0, 0, Sent::cancelled));
    EXPECT_EQ(out.event(0, 0.2, std::nullopt), std::nullopt);
    // Out-of-range steps are ignored without a change of state.
    EXPECT_EQ(out.event(2000.5, 0, Phase::began), std::nullopt);
    EXPECT_FALSE(out.scrolling());
    EXPECT_EQ(out.event(-2000, 2000, std::nullopt), scroll(-2000, 2000, Sent::none));

    EXPECT_EQ(out.close(), std::nullopt);
    out.event(0, 0.9, Phase::began);
    EXPECT_EQ(out.close(), scroll(0, 0, Sent::cancelled));
    EXPECT_EQ(out.close(), std::nullopt);
    out.event(0, 0.9, Phase::momentumBegan);
    EXPECT_EQ(out.close(), scroll(0, 0, Sent::none, Momentum::ended));
    EXPECT_EQ(out.close(), std::nullopt);
}
