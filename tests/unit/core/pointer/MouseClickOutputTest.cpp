#include <gtest/gtest.h>

#include <cmath>

#include "pointer/MouseClickOutput.h"

using namespace quillvane;

namespace {

constexpr double interval = 0.5;

std::int64_t clickState(MouseClickOutput& out, bool right, std::optional<bool> continuing,
                        TrackpadVector at, double time) {
    const auto events = out.events(right, continuing, at, time, interval);
    if (events.size() != 2)
        return -1;
    EXPECT_EQ(events[0].clickState, events[1].clickState);
    return events[0].clickState;
}

} // namespace

TEST(MouseClickOutput, quickClicksInPlaceChainIntoDoubleAndTripleClicks) {
    MouseClickOutput out;
    const auto events = out.events(false, std::nullopt, {10, 10}, 1.0, interval);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], (MouseEvent{MouseEventType::leftDown, {10, 10}, 1}));
    EXPECT_EQ(events[1], (MouseEvent{MouseEventType::leftUp, {10, 10}, 1}));
    EXPECT_EQ(clickState(out, false, std::nullopt, {12, 13}, 1.2), 2); // 3.6 points away
    EXPECT_EQ(clickState(out, false, std::nullopt, {12, 13}, 1.4), 3);
    EXPECT_EQ(clickState(out, false, std::nullopt, {12, 13}, 1.9), 4); // exactly the interval
}

TEST(MouseClickOutput, chainBreaksOnDistanceTimeButtonAndOtherInput) {
    MouseClickOutput out;
    clickState(out, false, std::nullopt, {0, 0}, 1.0);
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 1.2), 1);
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 1.8), 1);
    EXPECT_EQ(clickState(out, true, std::nullopt, {5, 0}, 1.9), 1);
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 2.0), 1);
    out.reset();
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 2.1), 1);
    // Passing out of reach and back in still breaks it.
    out.moved({20, 0});
    out.moved({5, 0});
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 2.2), 1);
    // A clock that runs backwards never continues a click.
    EXPECT_EQ(clickState(out, false, std::nullopt, {5, 0}, 2.1), 1);
}

TEST(MouseClickOutput, phoneCanForceOrRefuseContinuation) {
    MouseClickOutput out;
    clickState(out, true, std::nullopt, {0, 0}, 1.0);
    EXPECT_EQ(clickState(out, true, true, {0, 0}, 4.0), 2);
    EXPECT_EQ(clickState(out, true, false, {0, 0}, 4.1), 1);
    // Forcing still needs the same button and place.
    EXPECT_EQ(clickState(out, false, true, {0, 0}, 4.2), 1);
    EXPECT_EQ(clickState(out, false, true, {9, 0}, 4.3), 1);
}

TEST(MouseClickOutput, invalidInputGivesNoEventsAndBreaksChain) {
    MouseClickOutput out;
    clickState(out, false, std::nullopt, {0, 0}, 1.0);
    EXPECT_TRUE(out.events(false, std::nullopt, {0, 0}, 1.1, 0).empty());
    EXPECT_TRUE(out.events(false, std::nullopt, {0, 0}, 1.1, NAN).empty());
    EXPECT_TRUE(out.events(false, std::nullopt, {NAN, 0}, 1.1, interval).empty());
    EXPECT_EQ(clickState(out, false, std::nullopt, {0, 0}, 1.2), 1);
}

TEST(MouseClickOutput, dragContinuingClickIsDoubleClickDrag) {
    MouseClickOutput out;
    clickState(out, false, std::nullopt, {50, 50}, 1.0);
    const auto down = out.beginDrag({51, 50}, true, 9.0, interval); // time gap is not compared
    ASSERT_TRUE(down);
    EXPECT_EQ(*down, (MouseEvent{MouseEventType::leftDown, {51, 50}, 2}));
    EXPECT_FALSE(out.beginDrag({51, 50}, true, 9.1, interval)); // already held
    EXPECT_EQ(out.dragged({200, 80}), (MouseEvent{MouseEventType::leftDragged, {200, 80}, 2}));
    EXPECT_EQ(out.endDrag({200, 80}), (MouseEvent{MouseEventType::leftUp, {200, 80}, 2}));
    EXPECT_FALSE(out.endDrag({200, 80}));
    EXPECT_FALSE(out.dragged({200, 80}));
}

TEST(MouseClickOutput, dragStartsFreshUnlessThePhoneContinuesALeftClick) {
    MouseClickOutput out;
    clickState(out, false, std::nullopt, {0, 0}, 1.0);
    EXPECT_EQ(out.beginDrag({0, 0}, false, 1.1, interval)->clickState, 1);
    out.endDrag({0, 0});
    clickState(out, true, std::nullopt, {0, 0}, 1.2);
    EXPECT_EQ(out.beginDrag({0, 0}, true, 1.3, interval)->clickState, 1);
    // A drag that ends where it began can be continued by a click, like a real button.
    out.endDrag({0, 0});
    EXPECT_EQ(clickState(out, false, std::nullopt, {0, 0}, 1.4), 2);
}

TEST(MouseClickOutput, dragEndsEvenAtAnInvalidPosition) {
    MouseClickOutput out;
    ASSERT_TRUE(out.beginDrag({0, 0}, false, 1.0, interval));
    EXPECT_FALSE(out.dragged({INFINITY, 0}));
    EXPECT_FALSE(out.endDrag({NAN, 0}));
    EXPECT_FALSE(out.heldClickCount());
    EXPECT_TRUE(out.beginDrag({0, 0}, false, 1.1, interval));
}
