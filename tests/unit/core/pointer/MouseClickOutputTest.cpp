#include <gtest/gtest.h>

#include <cmath>

#include "pointer/MouseClickOutput.h"

using namespace quillvane;

namespace {

constexpr double interval = 0.5;

// The click state of a click's two events, or -1 when there were not exactly two.
std::int64_t click(MouseClickOutput& out, TrackpadVector at, double time, bool right = false,
                   std::optional<bool> continuing = std::nullopt) {
    const auto events = out.events(right, continuing, at, time, interval);
    if (events.size() != 2 || events[0].clickState != events[1].clickState)
        return -1;
    return events[0].clickState;
}

} // namespace

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
