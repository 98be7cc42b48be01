#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "integration/IntegrationTest.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include "platform/x11/X11Backend.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

using testing_support::waitUntil;

struct KeyPressSeen {
    KeySym keysym = NoSymbol;
    unsigned int state = 0;
};

struct PointerState {
    int x = 0;
    int y = 0;
    unsigned int mask = 0;
};

// The code point a keysym types, as a client decodes it.
char32_t codePointOf(KeySym keysym) {
    if (keysym >= 0x01000100 && keysym <= 0x0110ffff)
        return static_cast<char32_t>(keysym - 0x01000000);
    return static_cast<char32_t>(keysym);
}

// A second client of the X server: the window that receives what the backend posts, and the
// server's own view of pointer, buttons, keys and keymap.
class X11BackendTest : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        m_client = XOpenDisplay(nullptr);
        ASSERT_NE(m_client, nullptr) << "cannot open the test X display";
        // As toolkits do: hear of keymap changes, so keys are translated with the mapping the
        // server has when the client gets round to them.
        XkbSelectEvents(m_client, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
        m_backend = makeX11Backend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
    }

    void TearDown() override {
        if (!m_client)
            return;
        m_backend.reset();
        char keys[32];
        XQueryKeymap(m_client, keys);
        EXPECT_TRUE(std::all_of(std::begin(keys), std::end(keys), [](char k) { return k == 0; }))
            << "a key is still held";
        EXPECT_EQ(pointer().mask & (Button1Mask | Button2Mask | Button3Mask), 0u)
            << "a button is still held";
        if (m_window)
            XDestroyWindow(m_client, m_window);
        XCloseDisplay(m_client);
    }

    // A focused window at (x, y) on the root that reports keys and button presses.
    void openWindow(int x, int y, unsigned int width, unsigned int height) {
        m_window = XCreateSimpleWindow(m_client, DefaultRootWindow(m_client), x, y, width, height,
                                       0, 0, 0);
        XSelectInput(m_client, m_window,
                     KeyPressMask | KeyReleaseMask | ButtonPressMask | StructureNotifyMask);
        XMapWindow(m_client, m_window);
        XEvent event;
        do
            XWindowEvent(m_client, m_window, StructureNotifyMask, &event);
        while (event.type != MapNotify);
        XSetInputFocus(m_client, m_window, RevertToPointerRoot, CurrentTime);
        XSync(m_client, False);
    }

    PointerState pointer() {
        Window root = 0;
        Window child = 0;
        PointerState state;
        int windowX = 0;
        int windowY = 0;
        XQueryPointer(m_client, DefaultRootWindow(m_client), &root, &child, &state.x, &state.y,
                      &windowX, &windowY, &state.mask);
        return state;
    }

    bool pointerReaches(int x, int y, unsigned int mask) {
        return waitUntil(
            [&] {
                const PointerState state = pointer();
                return state.x == x && state.y == y &&
                       (state.mask & (Button1Mask | Button3Mask)) == mask;
            },
            3000);
    }

    // Reads events in order, translating each key press on arrival as a client would, until
    // `count` presses are in or a while has passed with none.
    std::vector<KeyPressSeen> keyPresses(std::size_t count) {
        std::vector<KeyPressSeen> presses;
        waitUntil(
            [&] {
                while (XPending(m_client) > 0) {
                    XEvent event;
                    XNextEvent(m_client, &event);
                    if (event.type != KeyPress)
                        continue;
                    KeySym keysym = NoSymbol;
                    char buffer[16];
                    XLookupString(&event.xkey, buffer, sizeof buffer, &keysym, nullptr);
                    presses.push_back({keysym, event.xkey.state});
                }
                return presses.size() >= count;
            },
            3000);
        return presses;
    }

    std::vector<unsigned int> buttonPresses(std::size_t count, int timeoutMs = 3000) {
        std::vector<unsigned int> buttons;
        waitUntil(
            [&] {
                while (XPending(m_client) > 0) {
                    XEvent event;
                    XNextEvent(m_client, &event);
                    if (event.type == ButtonPress)
                        buttons.push_back(event.xbutton.button);
                }
                return buttons.size() >= count;
            },
            timeoutMs);
        return buttons;
    }

    std::vector<KeySym> keymap() {
        int first = 0;
        int last = 0;
        XDisplayKeycodes(m_client, &first, &last);
        int perCode = 0;
        KeySym* keysyms =
            XGetKeyboardMapping(m_client, static_cast<KeyCode>(first), last - first + 1, &perCode);
        std::vector<KeySym> all(keysyms, keysyms + (last - first + 1) * perCode);
        XFree(keysyms);
        return all;
    }

    void tapMacKey(std::uint16_t code) {
        m_backend->key(code, true);
        m_backend->key(code, false);
    }

    void move(double x, double y) {
        m_backend->mouse({MouseEventType::moved, {x, y}, 0});
        m_backend->flush();
    }

    Display* m_client = nullptr;
    Window m_window = 0;
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

    XWarpPointer(m_client, None, DefaultRootWindow(m_client), 0, 0, 0, 0, 333, 444);
    XSync(m_client, False);
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
    openWindow(0, 0, 200, 200);
    for (std::uint16_t code : {6, 0, 36, 123, 122, 55, 51, 117, 53, 82, 50})
        tapMacKey(code);
    // Fn and codes that name no key of a Mac keyboard post nothing.
    for (std::uint16_t code : {63, 52, 108, 127, 500})
        tapMacKey(code);
    m_backend->flush();
    const auto presses = keyPresses(11);
    std::vector<KeySym> keysyms;
    for (const auto& press : presses)
        keysyms.push_back(press.keysym);
    const std::vector<KeySym> expected{XK_z,      XK_a,         XK_Return,    XK_Left,
                                       XK_F1,     XK_Super_L,   XK_BackSpace, XK_Delete,
                                       XK_Escape, XK_KP_Insert, XK_grave};
    EXPECT_EQ(keysyms, expected);
}

TEST_F(X11BackendTest, modifiersHeldAroundAKeyReachItsState) {
    openWindow(0, 0, 200, 200);
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
    const auto presses = keyPresses(6);
    ASSERT_EQ(presses.size(), 6u);
    EXPECT_EQ(presses[0].keysym, XK_Super_L);
    EXPECT_EQ(presses[1].keysym, XK_Shift_L);
    EXPECT_EQ(presses[2].keysym, XK_Z);
    EXPECT_EQ(presses[2].state & (ShiftMask | Mod4Mask), unsigned(ShiftMask | Mod4Mask));
    EXPECT_EQ(presses[3].keysym, XK_Control_R);
    EXPECT_EQ(presses[4].keysym, XK_Alt_R);
    EXPECT_EQ(presses[5].keysym, XK_a);
    EXPECT_EQ(presses[5].state & (ControlMask | Mod1Mask), unsigned(ControlMask | Mod1Mask));
}

TEST_F(X11BackendTest, textArrivesExactlyWhateverIsHeldAndTheKeymapIsRestored) {
    openWindow(0, 0, 200, 200);
    const std::vector<KeySym> original = keymap();
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

    const auto presses = keyPresses(expected.size() + 6);
    std::u32string typed;
    std::vector<KeySym> others;
    for (const auto& press : presses) {
        if (press.keysym == XK_Shift_L || press.keysym == XK_Caps_Lock || press.keysym == XK_Return)
            others.push_back(press.keysym);
        else
            typed += codePointOf(press.keysym);
    }
    EXPECT_EQ(typed, expected + U"ab");
    EXPECT_EQ(others, (std::vector<KeySym>{XK_Shift_L, XK_Caps_Lock, XK_Caps_Lock, XK_Return}));

    // The borrowed codes stay lent while clients may still translate, then come back empty.
    EXPECT_NE(keymap(), original);
    EXPECT_TRUE(waitUntil([&] { return keymap() == original; }, 3000))
        << "the spare key codes were not restored";
}

TEST_F(X11BackendTest, scrollPixelsBecomeWheelStepsWithTheRemainderKept) {
    openWindow(0, 0, 400, 400);
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
