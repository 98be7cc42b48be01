#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "pointer/MouseClickOutput.h"
#include "pointer/PointerPath.h"
#include "pointer/PointerPosition.h"
#include "pointer/TrackpadMoveBatch.h"
#include "pointer/TrackpadPointer.h"
#include "pointer/TrackpadScrollOutput.h"
#include "unit/core/CoreTestSupport.h"

using namespace quillvane;
using Phase = TrackpadScrollPhase;
using Sent = ScrollEvent::Phase;
using Momentum = ScrollEvent::Momentum;

namespace {

// Two 1000x800 displays side by side with a 100-point gap, the right one 200 points lower.
const std::vector<DisplayRect> gapped{{0, 0, 1000, 800}, {1100, 200, 1000, 800}};

constexpr double interval = 0.5;

// The click state of a click's two events, or -1 when there were not exactly two.
std::int64_t click(MouseClickOutput& out, TrackpadVector at, double time, bool right = false,
                   std::optional<bool> continuing = std::nullopt) {
    const auto events = out.events(right, continuing, at, time, interval);
    if (events.size() != 2 || events[0].clickState != events[1].clickState)
        return -1;
    return events[0].clickState;
}

ScrollEvent scroll(int horizontal, int vertical, Sent phase, Momentum momentum = Momentum::none) {
    return {vertical, horizontal, true, phase, momentum};
}

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

TEST(TrackpadMoveBatch, splitsSoThatEverySentMessageIsAccepted) {
    // At most 64 samples, and no sum past 2000 on either axis, per message.
    const auto messages = TrackpadMoveBatch::messages(std::vector<TrackpadVector>(65, {1, 0}));
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(TrackpadMoveBatch::samples(messages[0]).size(), 64u);
    // A single vector travels as the message's own x and y.
    EXPECT_EQ(messages[1].x, 1);
    EXPECT_FALSE(messages[1].movementSamples);
    EXPECT_EQ(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{1500, 0}, {600, 0}}).size(),
              2u);

    std::vector<TrackpadVector> deltas;
    for (int i = 0; i < 300; ++i)
        deltas.push_back({(i % 7) * 300.0 - 900, i % 2 ? 2000.0 : -3.5});
    std::vector<TrackpadVector> received;
    for (const auto& message : TrackpadMoveBatch::messages(deltas)) {
        const auto samples = TrackpadMoveBatch::samples(message);
        received.insert(received.end(), samples.begin(), samples.end());
    }
    EXPECT_EQ(received, deltas);
}

// Which batches are refused (empty, too long, not finite, too far) is the input controller's test,
// and a refused message's text the session test's.
TEST(TrackpadMoveBatch, refusesInvalidMessages) {
    WireMessage bare(WireMessage::Kind::move);
    bare.x = INFINITY;
    EXPECT_THROW(TrackpadMoveBatch::samples(bare), PadError);
    EXPECT_THROW(TrackpadMoveBatch::samples(WireMessage(WireMessage::Kind::scroll)), PadError);
    EXPECT_THROW(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{0, -2000.5}}), PadError);
}

TEST(MouseClickOutput, chainsQuickClicksInPlaceUntilDistanceTimeButtonOrOtherInputBreaksIt) {
    MouseClickOutput out;
    EXPECT_EQ(out.events(false, std::nullopt, {10, 10}, 1.0, interval),
              (std::vector<MouseEvent>{{MouseEventType::leftDown, {10, 10}, 1},
                                       {MouseEventType::leftUp, {10, 10}, 1}}));
    EXPECT_EQ(click(out, {12, 13}, 1.2), 2); // 3.6 points away
    EXPECT_EQ(click(out, {12, 13}, 1.4), 3);
    EXPECT_EQ(click(out, {12, 13}, 1.9), 4); // exactly the interval
    // The phone may continue a click however late, or refuse to continue it.
    EXPECT_EQ(click(out, {12, 13}, 5.0, false, true), 5);
    EXPECT_EQ(click(out, {12, 13}, 5.1, false, false), 1);

    // 5 points away, too late, another button.
    EXPECT_EQ(click(out, {17, 13}, 5.2), 1);
    EXPECT_EQ(click(out, {17, 13}, 5.8), 1);
    EXPECT_EQ(click(out, {17, 13}, 5.9, true), 1);
    // Forcing a continuation still needs the same place.
    EXPECT_EQ(click(out, {22, 13}, 6.1, false, true), 1);
    out.reset();
    EXPECT_EQ(click(out, {22, 13}, 6.2), 1);
    // Passing out of reach and back in still breaks it.
    out.moved({40, 13});
    out.moved({22, 13});
    EXPECT_EQ(click(out, {22, 13}, 6.3), 1);
    // An unusable interval (0 or NaN) gives no events and forgets the last click.
    EXPECT_TRUE(out.events(false, std::nullopt, {22, 13}, 6.3, 0).empty());
    EXPECT_EQ(click(out, {22, 13}, 6.4), 1);
}

TEST(MouseClickOutput, dragContinuingALeftClickIsADoubleClickDrag) {
    MouseClickOutput out;
    click(out, {50, 50}, 1.0);
    const auto down = out.beginDrag({51, 50}, true, 9.0, interval); // time gap is not compared
    EXPECT_EQ(down, (MouseEvent{MouseEventType::leftDown, {51, 50}, 2}));
    EXPECT_FALSE(out.beginDrag({51, 50}, true, 9.1, interval)); // already held
    EXPECT_EQ(out.dragged({200, 80}), (MouseEvent{MouseEventType::leftDragged, {200, 80}, 2}));
    EXPECT_EQ(out.endDrag({200, 80}), (MouseEvent{MouseEventType::leftUp, {200, 80}, 2}));
    EXPECT_FALSE(out.endDrag({200, 80}));
    // Without continuingClick, or after a right click, a drag starts at 1.
    EXPECT_EQ(out.beginDrag({200, 80}, false, 9.2, interval)->clickState, 1);
    out.endDrag({200, 80});
    click(out, {200, 80}, 9.3, true);
    EXPECT_EQ(out.beginDrag({200, 80}, true, 9.4, interval)->clickState, 1);
    // A drag that ends where it began can be continued by a click, like a real button.
    out.endDrag({200, 80});
    EXPECT_EQ(click(out, {200, 80}, 9.5), 2);
    // A drag released at an unusable position posts nothing but is no longer held.
    ASSERT_TRUE(out.beginDrag({0, 0}, false, 9.6, interval));
    EXPECT_FALSE(out.endDrag({NAN, 0}));
    EXPECT_TRUE(out.beginDrag({0, 0}, false, 9.7, interval));
}

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
