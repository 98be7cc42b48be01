// The phone's input from end to end: quillvane-controller, run as a process, drives a host session
// whose InputController posts through the X11 backend to the two-head X server of
// scripts/test-env. Every check reads what a user would see: the server's pointer, buttons and
// keys, and the events a test window receives.

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

using testing_support::BackendHost;
using testing_support::waitUntil;
using testing_support::X11TestClient;
using Strings = std::vector<std::string>;

class InputSession : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_client.isOpen()) << "cannot open the test X display";
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
        m_session.emplace(*m_backend);
        ASSERT_TRUE(m_session->startController()) << m_session->controllerOutput();
    }

    void TearDown() override {
        m_session.reset();
        EXPECT_TRUE(!m_client.isOpen() || m_client.nothingHeld())
            << "a key or button is still held";
    }

    void send(const std::string& line) { m_session->send(line); }

    bool nothingMore() { return m_client.events(1, 300).empty(); }

    X11TestClient m_client;
    std::unique_ptr<InputBackend> m_backend = makeX11Backend();
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

TEST_F(InputSession, clicksReachTheWindowUnderThePointerAndADragHoldsTheButtonUntilAClick) {
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
    EXPECT_TRUE(nothingMore()) << "the click pressed a button of its own";
}

TEST_F(InputSession, aControllerThatDiesMidDragWithTheShortcutHeldLeavesNothingHeld) {
    EXPECT_TRUE(testing_support::controllerDeathLetsGo(*m_session, [&] { return m_client.held(); }));
}

// Recorded gestures replayed in real time through the controller's recognisers.
TEST_F(InputSession, aReplayedFlickScrollsOnAfterTheLiftAndATapDragHoldsTheButtonThroughout) {
    m_client.openWindow(0, 0, 1600, 600);
    m_client.warpPointer(300, 200);
    send("replay " QUILLVANE_TRACES "/flick.json");
    // Fingers moving up carry the content up: wheel down, button 5. The fingers travel 216
    // points in 0.15 s, some four 50-pixel steps; the coast adds more, later.
    std::vector<unsigned long> wheel;
    for (const auto& event : m_client.events(64, 4000)) {
        EXPECT_TRUE(event.button == 5) << event.describe();
        if (event.type == ButtonPress)
            wheel.push_back(event.time);
    }
    ASSERT_GT(wheel.size(), 6u) << "the flick did not coast";
    EXPECT_GE(wheel.back() - wheel.front(), 400u) << "the wheel stopped with the fingers";

    m_client.warpPointer(300, 200);
    send("replay " QUILLVANE_TRACES "/double-tap-drag.json");
    EXPECT_TRUE(m_client.pointerSatisfies(
        [](int x, int, unsigned int buttons) { return x >= 360 && buttons == Button1Mask; }))
        << "the drag did not move with the button held";
    EXPECT_TRUE(m_client.pointerSatisfies(
        [](int x, int y, unsigned int buttons) { return x >= 420 && y >= 220 && buttons == 0; }))
        << "the re-touch did not carry the drag on";
    EXPECT_EQ(m_client.described(2), (Strings{"+button1", "-button1"}));
    EXPECT_TRUE(nothingMore()) << "the drag pressed more than once";
}

TEST_F(InputSession, keysAndTextArriveAsTypedWithNothingLeftHeld) {
    m_client.openWindow(0, 0, 400, 400);
    send("key 6 0x120000");
    EXPECT_EQ(m_client.described(6),
              (Strings{"+Control_L", "+Shift_L", "+Z", "-Z", "-Shift_L", "-Control_L"}));
    EXPECT_TRUE(m_client.nothingHeld());

    const std::string text = "Hello, 世界 👋";
    send("text " + text);
    std::u32string expected;
    for (std::size_t offset = 0; offset < text.size();)
        expected += nextCodePoint(text, offset);
    std::u32string typed;
    for (const auto& event : m_client.events(2 * expected.size())) {
        // Latin-1 keysyms are their code points; the others are 0x01000000 above theirs.
        if (event.type == KeyPress)
            typed += static_cast<char32_t>(event.keysym & 0xFFFFFF);
    }
    EXPECT_EQ(typed, expected);
}

} // namespace
} // namespace quillvane
