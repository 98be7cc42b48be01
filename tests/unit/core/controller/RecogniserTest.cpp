// The recognisers replayed from the recorded traces in tests/data/traces, checked for what a
// person holding the phone would notice.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "TraceFile.h"
#include "controller/ControllerReplay.h"
#include "controller/TrackpadGesture.h"

using namespace quillvane;
using Kind = WireMessage::Kind;
using Phase = TrackpadScrollPhase;

namespace {

struct Sent {
    double time;
    WireMessage message;
};

struct Replayed {
    std::vector<Sent> sent;
    std::vector<Haptic> haptics;

    std::vector<Sent> of(Kind kind) const {
        std::vector<Sent> out;
        for (const auto& s : sent)
            if (s.message.kind == kind)
                out.push_back(s);
        return out;
    }
    std::vector<Phase> phases() const {
        std::vector<Phase> out;
        // Runs of changes count once.
        for (const auto& s : of(Kind::scroll)) {
            const Phase phase = *s.message.scrollPhase;
            const bool change = phase == Phase::changed || phase == Phase::momentumChanged;
            if (out.empty() || out.back() != phase || !change)
                out.push_back(phase);
        }
        return out;
    }
    // Sum of the pointer motion sent up to `until`.
    TrackpadVector moved(double until = INFINITY) const {
        TrackpadVector sum;
        for (const auto& s : of(Kind::move))
            if (s.time <= until) {
                sum.x += *s.message.x;
                sum.y += *s.message.y;
            }
        return sum;
    }
};

Replayed replay(const std::string& name, void (*adjust)(TrackpadSettings&) = nullptr) {
    TraceFile trace = TraceFile::read(QString::fromStdString(QUILLVANE_TRACES "/" + name + ".json"));
    if (adjust)
        adjust(trace.settings);
    Replayed out;
    for (const auto& step : ControllerReplay(trace.events, trace.settings).runAll()) {
        for (const auto& message : step.output.messages)
            out.sent.push_back({step.time, message});
        out.haptics.insert(out.haptics.end(), step.output.haptics.begin(), step.output.haptics.end());
    }
    return out;
}

} // namespace

TEST(Trackpad, tapsClickLeftAndTwoFingerTapsRightAfterTheDoubleTapWindow) {
    const Replayed r = replay("taps");
    const auto clicks = r.of(Kind::click);
    ASSERT_EQ(clicks.size(), 2u);
    EXPECT_EQ(clicks[0].message.flag, false);
    EXPECT_FALSE(clicks[0].message.continuingClick);
    EXPECT_GE(clicks[0].time, 0.09 + 0.18 - 1e-9); // waited for a possible second tap
    EXPECT_EQ(clicks[1].message.flag, true);        // fingers reported one after the other
    EXPECT_TRUE(r.of(Kind::scroll).empty());
    EXPECT_TRUE(r.of(Kind::drag).empty());

    EXPECT_TRUE(replay("taps", [](TrackpadSettings& s) { s.tapToClick = false; }).of(Kind::click).empty());
}

TEST(Trackpad, tapThenTouchDragsOnePressAcrossAReTouchWithinTheGrace) {
    const Replayed r = replay("double-tap-drag");
    EXPECT_TRUE(r.of(Kind::click).empty());
    const auto drags = r.of(Kind::drag);
    ASSERT_EQ(drags.size(), 2u);
    EXPECT_EQ(drags[0].message.flag, true);
    EXPECT_EQ(drags[1].message.flag, false);
    const auto moves = r.of(Kind::move);
    EXPECT_GT(moves.front().time, drags[0].time - 1e-9);
    EXPECT_GT(drags[1].time, moves.back().time);
    // The second stroke went right and down, both carried by the one press.
    EXPECT_GT(r.moved(drags[1].time).y, 25);
    EXPECT_EQ(r.haptics.front(), Haptic::start);
}

TEST(Trackpad, pointingAcceleratesWithSpeedLosesNoSubPointMotionAndBatchesPerFrame) {
    const Replayed r = replay("pointing");
    const double slow = r.moved(0.5).x / 30;             // 0.5 points a frame for 60 frames
    const double fast = (r.moved().x - r.moved(0.5).x) / 600; // 20 points a frame for 30 frames
    EXPECT_LT(slow, 1);
    EXPECT_GT(fast, 1.2);

    const Replayed plain = replay("pointing", [](TrackpadSettings& s) { s.acceleration = 0; });
    EXPECT_NEAR(plain.moved().x, 630, 1e-9);
    EXPECT_NEAR(plain.moved().y, 315, 1e-9);
    // A tick may send a held-back sample just before the next report leaves, but no more
    // messages go than frame intervals pass.
    const auto moves = plain.of(Kind::move);
    for (std::size_t i = 2; i < moves.size(); ++i)
        EXPECT_GE(moves[i].time - moves[i - 2].time, 1.0 / 120 - 1e-6);
}

TEST(Trackpad, reportsHandedOverAfterTheFrameTickLeaveAtOnceAndLoseNoTravel) {
    // As in a browser: each frame's tick runs first, then the touches the frame brought, stamped
    // when the finger was sampled, before the tick's time; every third frame brings two.
    TrackpadGesture gesture(TrackpadSettings{0, true, true});
    ControllerOutput out;
    gesture.touch({1, 100, 400, 0, TouchPhase::began}, out);
    double x = 100;
    double sent = 0;
    int fromTicks = 0;
    int reports = 0;
    int fromReports = 0;
    for (int frame = 1; frame <= 30; ++frame) {
        const double tick = frame / 60.0;
        const bool settled = tick > 0.1;
        ControllerOutput ticked;
        gesture.advance(tick, ticked);
        std::vector<double> stamps{tick - 0.004};
        if (frame % 3 == 0)
            stamps.insert(stamps.begin(), tick - 0.014);
        for (const double stamp : stamps) {
            ControllerOutput touched;
            gesture.touch({1, x += 5, 400, stamp, TouchPhase::moved}, touched);
            for (const auto& message : touched.messages)
                sent += message.x.value_or(0);
            reports += settled;
            fromReports += settled * static_cast<int>(touched.messages.size());
        }
        for (const auto& message : ticked.messages)
            sent += message.x.value_or(0);
        fromTicks += settled * static_cast<int>(ticked.messages.size());
    }
    EXPECT_EQ(fromTicks, 0);
    EXPECT_EQ(fromReports, reports);
    EXPECT_NEAR(sent, x - 100, 1e-9);
}

TEST(Trackpad, scrollPhasesRunInOrderAndAFlickCoastsUntilItStopsOrIsTouched) {
    EXPECT_EQ(replay("scroll").phases(), (std::vector{Phase::began, Phase::changed, Phase::ended}));

    const Replayed flick = replay("flick");
    const std::vector coasting{Phase::began,         Phase::changed,         Phase::ended,
                               Phase::momentumBegan, Phase::momentumChanged, Phase::momentumEnded};
    EXPECT_EQ(flick.phases(), coasting);
    // Upward fingers scroll the content up, and the coast slows down.
    double previous = INFINITY;
    for (const auto& s : flick.of(Kind::scroll)) {
        if (*s.message.scrollPhase != Phase::momentumChanged)
            continue;
        EXPECT_LT(*s.message.y, 0);
        EXPECT_LE(std::abs(*s.message.y), previous + 1e-9);
        previous = std::abs(*s.message.y);
    }
    EXPECT_LT(flick.sent.back().time, 0.152 + 1.5);
    EXPECT_GT(std::count(flick.haptics.begin(), flick.haptics.end(), Haptic::detent), 2);

    const Replayed stopped = replay("flick-stopped");
    EXPECT_EQ(stopped.phases(), coasting);
    EXPECT_DOUBLE_EQ(stopped.of(Kind::scroll).back().time, 0.35);
    EXPECT_TRUE(stopped.of(Kind::click).empty()); // the stopping touch is not a tap
}

TEST(Trackpad, aRailHoldsTheDominantAxisUntilTheOtherClearlyWins) {
    const Replayed r = replay("rails");
    bool switched = false;
    for (const auto& s : r.of(Kind::scroll)) {
        if (s.time < 0.5)
            EXPECT_EQ(*s.message.x, 0) << s.time;
        else if (*s.message.x != 0) {
            switched = true;
            EXPECT_EQ(*s.message.y, 0) << s.time;
        }
    }
    EXPECT_TRUE(switched);
}

TEST(Trackpad, aCancelledTouchEndsItsScrollOrDragAtOnceWithoutClicking) {
    const Replayed r = replay("cancelled");
    EXPECT_EQ(r.phases(), (std::vector{Phase::began, Phase::changed, Phase::cancelled}));
    const auto drags = r.of(Kind::drag);
    ASSERT_EQ(drags.size(), 2u);
    EXPECT_EQ(drags[1].message.flag, false);
    EXPECT_DOUBLE_EQ(drags[1].time, 1.4);
    EXPECT_TRUE(r.of(Kind::click).empty());
}

TEST(AirMouse, clicksLandWhereAimedAndAHeldTurningPressDrags) {
    const Replayed r = replay("air-mouse");
    const auto clicks = r.of(Kind::click);
    ASSERT_EQ(clicks.size(), 1u);
    EXPECT_GT(r.moved(0.7).x, 300); // the turn to the right
    // The jolt of pressing (1.02 to 1.05) is taken back: the click is where the hand rested.
    EXPECT_NEAR(r.moved(clicks[0].time).x, r.moved(0.95).x, 0.5);
    EXPECT_NEAR(r.moved(clicks[0].time).y, r.moved(0.95).y, 0.5);
    // A still hand sends nothing between the click and the next press.
    EXPECT_NEAR(r.moved(1.6).x, r.moved(clicks[0].time).x, 1e-9);

    const auto drags = r.of(Kind::drag);
    ASSERT_EQ(drags.size(), 2u);
    EXPECT_TRUE(*drags[0].message.flag);
    EXPECT_FALSE(*drags[1].message.flag);
    EXPECT_GT(r.moved(drags[1].time).x - r.moved(drags[0].time).x, 100);
}
