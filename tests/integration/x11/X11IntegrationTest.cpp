// The X11 backend against the two-head X server of scripts/test-env, judged by a second client of
// the server: the server's pointer, buttons and keys, and the events a test window receives. First
// the phone's input from end to end (quillvane-controller, run as a process, driving a host
// session whose InputController posts through the backend), then what the backend does that those
// do not show: scroll amounts below a wheel step, typed text whatever modifiers are held, the
// keymap it borrows, and why it cannot post without a server.

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/X11TestClient.h"

#include "platform/x11/X11Backend.h"
#include "protocol/Unicode.h"

// Last: its macros would break the Qt headers above.
#include <X11/Xlib.h>

namespace quillvane {
namespace {

using namespace testing_support;
using Strings = std::vector<std::string>;

class X11BackendTest : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_client.isOpen()) << "cannot open the test X display";
        m_backend = makeX11Backend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
    }

    void TearDown() override {
        m_backend.reset();
        EXPECT_TRUE(!m_client.isOpen() || m_client.nothingHeld())
            << "a key or button is still held";
    }

    X11TestClient m_client;
    std::unique_ptr<InputBackend> m_backend;
};

class InputSession : public X11BackendTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(X11BackendTest::SetUp());
        m_session.emplace(*m_backend);
        ASSERT_TRUE(m_session->startController()) << m_session->controllerOutput();
    }

    void TearDown() override {
        m_session.reset();
        X11BackendTest::TearDown();
    }

    void send(const std::string& line) { m_session->send(line); }

    bool nothingMore() { return m_client.events(1, 300).empty(); }

    std::optional<BackendHost> m_session;
};

TEST_F(InputSession, movesCrossBothHeadsAndStopOnePointInside) {
    m_client.warpPointer(400, 300);
    send("move 300 0");
    EXPECT_TRUE(m_client.pointerReaches(700, 300, 0));
    send("move 200 50");
    EXPECT_TRUE(m_client.pointerReaches(900, 350, 0)) << "did not cross to the right head";
    send("move 2000 2000");
    EXPECT_TRUE(m_client.pointerReaches(1599, 599, 0));
}

TEST_F(InputSession, clicksAndKeysReachTheWindowADragHoldsTheButtonAndADyingControllerLetsGo) {
    m_client.openWindow(0, 0, 1600, 600); // both heads: the drag ends on the right one
    m_client.warpPointer(300, 200);
    send("click");
    send("click");
    send("click right");
    // X11 clients count clicks themselves: a second press soon after, in the same place.
    EXPECT_EQ(m_client.described(6),
              (Strings{"+button1", "-button1", "+button1", "-button1", "+button3", "-button3"}));
    EXPECT_TRUE(m_client.pointerReaches(300, 200, 0)) << "a click moved the pointer";

    m_client.warpPointer(700, 300);
    send("drag on");
    send("move 100 0");
    EXPECT_TRUE(m_client.pointerReaches(800, 300, Button1Mask));
    send("move 100 50");
    EXPECT_TRUE(m_client.pointerReaches(900, 350, Button1Mask));
    send("click");
    EXPECT_TRUE(m_client.pointerReaches(900, 350, 0));
    EXPECT_EQ(m_client.described(2), (Strings{"+button1", "-button1"}));

    // Command+Shift+Z, posted as Control+Shift+Z. (Text is the backend's own cases below.)
    send("key 6 0x120000");
    EXPECT_EQ(m_client.described(6),
              (Strings{"+Control_L", "+Shift_L", "+Z", "-Z", "-Shift_L", "-Control_L"}));
    EXPECT_TRUE(nothingMore()) << "the click pressed a button of its own";
    EXPECT_TRUE(controllerDeathLetsGo(*m_session, [&] { return m_client.held(); }));
}

// A recorded gesture replayed in real time through the controller's recognisers. (A flick's coast
// is the browser test's, through the same recognisers built for the page.)
TEST_F(InputSession, aReplayedTapDragHoldsTheButtonThroughAReTouch) {
    m_client.openWindow(0, 0, 1600, 600);
    m_client.warpPointer(300, 200);
    send("replay " QUILLVANE_TRACES "/double-tap-drag.json");
    EXPECT_TRUE(m_client.pointerSatisfies(
        [](int x, int, unsigned int buttons) { return x >= 360 && buttons == Button1Mask; }))
        << "the drag did not move with the button held";
    // The finger lifts and comes back within the grace: the button stays down on the way on.
    EXPECT_TRUE(m_client.pointerSatisfies([](int x, int y, unsigned int buttons) {
        return x >= 420 && y >= 220 && buttons == Button1Mask;
    })) << "the re-touch did not carry the drag on";
    EXPECT_EQ(m_client.described(2), (Strings{"+button1", "-button1"}));
    EXPECT_TRUE(nothingMore()) << "the drag pressed more than once";
}

TEST_F(X11BackendTest, scrollPixelsBecomeWheelStepsWithTheRemainderKept) {
    m_client.openWindow(0, 0, 400, 400);
    m_backend->mouse({MouseEventType::moved, {200, 200}, 0});
    using Phase = ScrollEvent::Phase;
    // Steps of 5 pixels, each far below one wheel step, add up to three.
    for (int i = 0; i < 30; ++i)
        m_backend->scroll({.wheel1 = 5});
    // A gesture down: 90 pixels are one step and 40 left over, which its end rounds to a second.
    m_backend->scroll({.phase = Phase::began});
    for (int i = 0; i < 3; ++i)
        m_backend->scroll({.wheel1 = -30, .phase = Phase::changed});
    m_backend->scroll({.phase = Phase::ended});
    // Sideways: 60 pixels are one step left with 10 over; a new gesture forgets those 10, so its
    // 40 pixels stay below a step, and cancelling drops them.
    m_backend->scroll({.wheel2 = 60});
    m_backend->scroll({.wheel2 = 40, .phase = Phase::began});
    m_backend->scroll({.phase = Phase::cancelled});
    m_backend->flush();
    EXPECT_EQ(m_client.described(12),
              (Strings{"+button4", "-button4", "+button4", "-button4", "+button4", "-button4",
                       "+button5", "-button5", "+button5", "-button5", "+button6", "-button6"}));
    EXPECT_TRUE(m_client.events(1, 300).empty()) << "more wheel steps trickled in";
}

TEST_F(X11BackendTest, textIgnoresShiftAndCapsLockAndTheKeymapIsRestoredAfter) {
    m_client.openWindow(0, 0, 200, 200);
    const std::vector<unsigned long> original = m_client.keymap();
    // A CR LF line break is one Return; then Shift held down, and Caps Lock turned on and off.
    m_backend->text("\r\n");
    m_backend->key(56, true);
    m_backend->text("a");
    m_backend->key(56, false);
    m_backend->key(57, true);
    m_backend->key(57, false);
    m_backend->text("b");
    m_backend->key(57, true);
    m_backend->key(57, false);
    m_backend->text("👋"); // beyond the Basic Multilingual Plane
    m_backend->flush();
    EXPECT_EQ(m_client.described(14),
              (Strings{"+Return", "-Return", "+Shift_L", "+a", "-a", "-Shift_L", "+Caps_Lock",
                       "-Caps_Lock", "+b", "-b", "+Caps_Lock", "-Caps_Lock", "+U0001F44B", "-U0001F44B"}));

    // The borrowed codes stay lent while clients may still translate, then come back empty.
    EXPECT_NE(m_client.keymap(), original);
    EXPECT_TRUE(waitUntil([&] { return m_client.keymap() == original; }, 3000))
        << "the spare key codes were not restored";
}

TEST_F(X11BackendTest, aTextLongerThanTheSpareKeysArrivesExactlyUnlessDiscarded) {
    m_client.openWindow(0, 0, 200, 200);
    const std::vector<unsigned long> original = m_client.keymap();
    m_backend->text("a"); // the window has translated a key before, as a running toolkit has
    m_backend->flush();
    ASSERT_EQ(m_client.described(2), (Strings{"+a", "-a"}));

    // More distinct characters than the server has spare key codes, then Return typed after them;
    // the second time the rest of the text is discarded while Return is down.
    const std::string text =
        "天地玄黄宇宙洪荒日月盈昃辰宿列张寒来暑往秋收冬藏闰余成岁律吕调阳云腾致雨露结为霜";
    const std::size_t characters = text.size() / 3;
    const auto type = [&](bool discard) {
        for (std::size_t offset = 0; offset < text.size(); offset += 3)
            m_backend->text(std::string_view(text).substr(offset, 3));
        m_backend->key(36, true);
        if (discard)
            m_backend->discardPendingText();
        m_backend->key(36, false);
        m_backend->flush();
    };
    type(false);
    auto events = m_client.events(2 * characters + 2, 20'000);
    ASSERT_EQ(events.size(), 2 * characters + 2);
    for (std::size_t i = 0, offset = 0; i < characters; ++i, offset += 3) {
        std::size_t at = offset;
        EXPECT_EQ(events[2 * i].keysym, 0x01000000ul + nextCodePoint(text, at))
            << "character " << i;
    }
    EXPECT_EQ(events[2 * characters].describe(), "+Return");

    // Once the lent codes are back: the first batch is typed at once, the rest is gone, and Return
    // still goes down and up.
    ASSERT_TRUE(waitUntil([&] { return m_client.keymap() == original; }, 20'000));
    type(true);
    // Long enough for every character to arrive, were the rest of the text not discarded.
    events = m_client.events(2 * characters + 2, 3'000);
    ASSERT_GE(events.size(), 4u);
    ASSERT_LT(events.size(), 2 * characters);
    EXPECT_EQ(events[events.size() - 2].describe(), "+Return");
    EXPECT_EQ(events.back().describe(), "-Return");
}

TEST_F(X11BackendTest, withoutAServerItSaysWhatIsMissing) {
    const std::string display = std::getenv("DISPLAY");
    setenv("DISPLAY", "", 1);
    const auto unset = makeX11Backend();
    setenv("DISPLAY", ":4242", 1);
    const auto absent = makeX11Backend();
    setenv("DISPLAY", display.c_str(), 1);

    EXPECT_FALSE(unset->canPost());
    EXPECT_NE(unset->unavailableReason().find("未设置 DISPLAY"), std::string::npos);
    EXPECT_FALSE(absent->canPost());
    EXPECT_NE(absent->unavailableReason().find("（:4242）"), std::string::npos);
    EXPECT_TRUE(absent->displays().empty());
    EXPECT_FALSE(absent->pointerLocation());
}

} // namespace
} // namespace quillvane
