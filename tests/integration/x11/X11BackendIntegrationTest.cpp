#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "integration/IntegrationTest.h"
#include "integration/support/X11TestClient.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

#include "platform/x11/X11Backend.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

using testing_support::codePointOf;
using testing_support::waitUntil;
using testing_support::WindowEvent;
using testing_support::X11TestClient;

// What the backend posts, seen by a second client of the X server: the window that receives it,
// and the server's own view of pointer, buttons, keys and keymap.
class X11BackendTest : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_client.isOpen()) << "cannot open the test X display";
        m_backend = makeX11Backend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
    }

    void TearDown() override {
        if (!m_client.isOpen())
            return;
        m_backend.reset();
        EXPECT_TRUE(m_client.allKeysUp()) << "a key is still held";
        EXPECT_TRUE(m_client.noButtonHeld()) << "a button is still held";
    }

    bool pointerReaches(int x, int y, unsigned int mask) {
        return m_client.pointerReaches(x, y, mask);
    }

    // The presses among the window's next events; every press comes with its release.
    std::vector<WindowEvent> presses(std::size_t count, int timeoutMs = 3000) {
        std::vector<WindowEvent> found;
        for (const auto& event : m_client.events(2 * count, timeoutMs))
            if (event.type == KeyPress || event.type == ButtonPress)
                found.push_back(event);
        return found;
    }

    std::vector<unsigned int> buttonPresses(std::size_t count, int timeoutMs = 3000) {
        std::vector<unsigned int> buttons;
        for (const auto& event : presses(count, timeoutMs))
            buttons.push_back(event.button);
        return buttons;
    }

    void tapMacKey(std::uint16_t code) {
        m_backend->key(code, true);
        m_backend->key(code, false);
    }

    void move(double x, double y) {
        m_backend->mouse({MouseEventType::moved, {x, y}, 0});
        m_backend->flush();
    }

    X11TestClient m_client;
    std::unique_ptr<InputBackend> m_backend;
};

TEST_F(X11BackendTest, displaysAreTheTwoHeadsSideBySide) {
    const std::vector<DisplayRect> expected{{0, 0, 800, 600}, {800, 0, 800, 600}};
    EXPECT_EQ(m_backend->displays(), expected);
    // Served from the cache the second time, and still the same.
    EXPECT_EQ(m_backend->displays(), expected);
}

TEST_F(X11BackendTest, motionLandsWherePostedOnEitherHead) {
    move(100.4, 200.6);
    EXPECT_TRUE(pointerReaches(100, 201, 0));
    move(1200, 300);
    EXPECT_TRUE(pointerReaches(1200, 300, 0));
    m_backend->mouse({MouseEventType::leftDragged, {1599, 599}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(1599, 599, 0));

    m_client.warpPointer(333, 444);
    const auto location = m_backend->pointerLocation();
    ASSERT_TRUE(location);
    EXPECT_EQ(location->x, 333);
    EXPECT_EQ(location->y, 444);
}

TEST_F(X11BackendTest, buttonsHoldTheirMaskUntilReleasedAndPressWhereTheEventSays) {
    move(10, 10);
    m_backend->mouse({MouseEventType::leftDown, {1300, 400}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(1300, 400, Button1Mask));
    for (int x = 1310; x <= 1350; x += 10)
        m_backend->mouse({MouseEventType::leftDragged, {static_cast<double>(x), 420}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(1350, 420, Button1Mask));
    m_backend->mouse({MouseEventType::leftUp, {1350, 420}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(1350, 420, 0));

    m_backend->mouse({MouseEventType::rightDown, {700, 500}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(700, 500, Button3Mask));
    m_backend->mouse({MouseEventType::rightUp, {700, 500}, 1});
    m_backend->flush();
    EXPECT_TRUE(pointerReaches(700, 500, 0));
}

TEST_F(X11BackendTest, macKeysArriveAsTheKeysAtTheirPosition) {
    m_client.openWindow(0, 0, 200, 200);
    for (std::uint16_t code : {6, 0, 36, 123, 122, 55, 51, 117, 53, 82, 50})
        tapMacKey(code);
    // Fn and codes that name no key of a Mac keyboard post nothing.
    for (std::uint16_t code : {63, 52, 108, 127, 500})
        tapMacKey(code);
    m_backend->flush();
    const auto seen = presses(11);
    std::vector<KeySym> keysyms;
    for (const auto& press : seen)
        keysyms.push_back(press.keysym);
    const std::vector<KeySym> expected{XK_z,      XK_a,         XK_Return,    XK_Left,
                                       XK_F1,     XK_Super_L,   XK_BackSpace, XK_Delete,
                                       XK_Escape, XK_KP_Insert, XK_grave};
    EXPECT_EQ(keysyms, expected);
}

TEST_F(X11BackendTest, modifiersHeldAroundAKeyReachItsState) {
    m_client.openWindow(0, 0, 200, 200);
    // Command+Shift+Z, pressed and released in the order the controller uses.
    m_backend->key(55, true);
    m_backend->key(56, true);
    tapMacKey(6);
    m_backend->key(56, false);
    m_backend->key(55, false);
    // Option and Control on their right-hand keys.
    m_backend->key(62, true);
    m_backend->key(61, true);
    tapMacKey(0);
    m_backend->key(61, false);
    m_backend->key(62, false);
    m_backend->flush();
    const auto seen = presses(6);
    ASSERT_EQ(seen.size(), 6u);
    EXPECT_EQ(seen[0].keysym, XK_Super_L);
    EXPECT_EQ(seen[1].keysym, XK_Shift_L);
    EXPECT_EQ(seen[2].keysym, XK_Z);
    EXPECT_EQ(seen[2].state & (ShiftMask | Mod4Mask), unsigned(ShiftMask | Mod4Mask));
    EXPECT_EQ(seen[3].keysym, XK_Control_R);
    EXPECT_EQ(seen[4].keysym, XK_Alt_R);
    EXPECT_EQ(seen[5].keysym, XK_a);
    EXPECT_EQ(seen[5].state & (ControlMask | Mod1Mask), unsigned(ControlMask | Mod1Mask));
}

TEST_F(X11BackendTest, textArrivesExactlyWhateverIsHeldAndTheKeymapIsRestored) {
    m_client.openWindow(0, 0, 200, 200);
    const std::vector<KeySym> original = m_client.keymap();
    const std::string text = "Hello, 世界 👋";
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t start = offset;
        nextCodePoint(text, offset);
        m_backend->text(std::string_view(text).substr(start, offset - start));
    }
    // Neither Shift nor Caps Lock changes typed text; a CR LF line break is one Return.
    m_backend->key(56, true);
    m_backend->text("a");
    m_backend->key(56, false);
    tapMacKey(57);
    m_backend->text("b");
    tapMacKey(57);
    m_backend->text("\r\n");
    m_backend->flush();

    std::u32string expected;
    for (std::size_t offset = 0; offset < text.size();)
        expected += nextCodePoint(text, offset);

    const auto seen = presses(expected.size() + 6);
    std::u32string typed;
    std::vector<KeySym> others;
    for (const auto& press : seen) {
        if (press.keysym == XK_Shift_L || press.keysym == XK_Caps_Lock || press.keysym == XK_Return)
            others.push_back(press.keysym);
        else
            typed += codePointOf(press.keysym);
    }
    EXPECT_EQ(typed, expected + U"ab");
    EXPECT_EQ(others, (std::vector<KeySym>{XK_Shift_L, XK_Caps_Lock, XK_Caps_Lock, XK_Return}));

    // The borrowed codes stay lent while clients may still translate, then come back empty.
    EXPECT_NE(m_client.keymap(), original);
    EXPECT_TRUE(waitUntil([&] { return m_client.keymap() == original; }, 3000))
        << "the spare key codes were not restored";
}

TEST_F(X11BackendTest, scrollPixelsBecomeWheelStepsWithTheRemainderKept) {
    m_client.openWindow(0, 0, 400, 400);
    move(200, 200);
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
    EXPECT_EQ(buttonPresses(6), (std::vector<unsigned int>{4, 4, 4, 5, 5, 6}));
    // Nothing more trickles in afterwards.
    EXPECT_TRUE(buttonPresses(1, 300).empty());
}

TEST_F(X11BackendTest, withoutAServerItSaysWhatIsMissing) {
    const std::string display = std::getenv("DISPLAY");
    setenv("DISPLAY", "", 1);
    const auto unset = makeX11Backend();
    setenv("DISPLAY", ":4242", 1);
    const auto absent = makeX11Backend();
    setenv("DISPLAY", display.c_str(), 1);

    EXPECT_FALSE(unset->canPost());
    EXPECT_NE(unset->unavailableReason().find("DISPLAY is not set"), std::string::npos);
    EXPECT_FALSE(absent->canPost());
    EXPECT_NE(absent->unavailableReason().find("Cannot open the X display \":4242\""),
              std::string::npos);
    EXPECT_TRUE(absent->displays().empty());
    EXPECT_FALSE(absent->pointerLocation());
}

} // namespace
} // namespace quillvane
