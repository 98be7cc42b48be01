#include "X11Backend.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <QElapsedTimer>
#include <QTimer>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include "platform/common/TypedCodePoint.h"
#include "platform/evdev/MacKeyTable.h"
#include "SpareKeyTyper.h"
#include "X11Displays.h"
#include "WheelStepAccumulator.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

// X servers that take their keys from the kernel's input layer (Xorg with the libinput or evdev
// driver, Xwayland, Xvfb, Xephyr) number every key as its evdev code plus 8.
constexpr int evdevToXKeyCode = 8;

// Once the last character of a burst of typing is this old, its spare key codes are given back:
// long enough for a busy client to have translated every key of the burst. Keeping them longer
// costs nothing but a few unused codes showing keysyms; giving them back earlier loses
// characters.
constexpr int restoreDelayMs = 500;
// A text needing more key codes than the server has spare is typed in batches. Clients translate a
// key event with the keymap they fetch when they see it change, so a code is lent again only after
// this pause has given them time to read the events of the last batch.
constexpr int batchPauseMs = 100;

// Core protocol coordinates are 16-bit.
constexpr long coordinateLimit = 32767;

struct PixelPoint {
    int x = 0;
    int y = 0;
    friend bool operator==(const PixelPoint&, const PixelPoint&) = default;
};

// One point is one pixel on X11. Rounding to the nearest pixel, not truncating, keeps a path of
// fractional positions from leaning towards the top left.
std::optional<PixelPoint> nearestPixel(const TrackpadVector& position) {
    if (!std::isfinite(position.x) || !std::isfinite(position.y))
        return std::nullopt;
    const auto clamp = [](double value) {
        return static_cast<int>(std::clamp(std::lround(value), -coordinateLimit, coordinateLimit));
    };
    return PixelPoint{clamp(position.x), clamp(position.y)};
}

// The keysym that types a code point. Line breaks, tabs, backspace, escape and delete type as
// their keys; other control characters have nothing to type. Latin-1 keysyms are the code points;
// every other character has its Unicode keysym.
std::optional<KeySym> keysymForCodePoint(char32_t codePoint) {
    switch (codePoint) {
    case U'\b':
        return XK_BackSpace;
    case U'\t':
        return XK_Tab;
    case U'\n':
    case U'\r':
        return XK_Return;
    case U'\x1b':
        return XK_Escape;
    case U'\x7f':
        return XK_Delete;
    default:
        break;
    }
    if (codePoint < 0x20 || (codePoint >= 0x80 && codePoint < 0xa0) || codePoint > 0x10ffff)
        return std::nullopt;
    if (codePoint < 0x100)
        return codePoint;
    return 0x01000000 + codePoint;
}

std::vector<KeyCode> positionKeyCodes() {
    std::vector<KeyCode> codes;
    for (std::uint16_t macKey = 0; macKey < 128; ++macKey)
        if (const auto evdev = evdevKeyForMacKey(macKey))
            codes.push_back(static_cast<KeyCode>(*evdev + evdevToXKeyCode));
    return codes;
}

class X11Backend final : public InputBackend {
public:
    X11Backend();
    ~X11Backend() override;

    X11Backend(const X11Backend&) = delete;
    X11Backend& operator=(const X11Backend&) = delete;

    std::string_view name() const override { return "x11"; }
    bool canPost() const override { return m_reason.empty(); }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override;
    std::optional<TrackpadVector> pointerLocation() override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    bool text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override;

private:
    void open();
    bool needsWarp(PixelPoint to);
    void moveTo(PixelPoint point);
    void clickWheel(unsigned int button, std::int32_t steps);
    void postMouse(const MouseEvent& event);
    void postScroll(const ScrollEvent& event);
    void postKey(std::uint16_t macKeyCode, bool down);

    // Posting goes through one ordered queue: while a text waits for its next batch, later keys,
    // clicks and moves wait behind it, so nothing overtakes the characters typed before it.
    struct Pending {
        std::optional<KeySym> keysym; // a character still to type, or
        std::function<void()> post;   // any other event
    };
    void submit(Pending action);
    void drain();

    Display* m_display = nullptr;
    std::string m_reason;
    int m_minKeyCode = 0;
    int m_maxKeyCode = 0;
    std::optional<X11Displays> m_displays;
    // Where this backend last put or saw the pointer.
    std::optional<PixelPoint> m_lastPosition;
    WheelStepAccumulator m_wheel;
    std::optional<SpareKeyTyper> m_typer;
    QTimer m_restoreTimer;
    std::deque<Pending> m_pending;
    QTimer m_batchTimer;
    QElapsedTimer m_sinceBatch;
};

X11Backend::X11Backend() {
    open();
    m_restoreTimer.setSingleShot(true);
    m_restoreTimer.setInterval(restoreDelayMs);
    QObject::connect(&m_restoreTimer, &QTimer::timeout, &m_restoreTimer, [this] {
        if (!m_pending.empty())
            return; // the queue restarts the timer when it has typed its last character
        m_typer->restore();
        XFlush(m_display);
    });
    m_batchTimer.setSingleShot(true);
    m_batchTimer.setInterval(batchPauseMs);
    QObject::connect(&m_batchTimer, &QTimer::timeout, &m_batchTimer, [this] { drain(); });
    m_sinceBatch.start();
}

X11Backend::~X11Backend() {
    if (!m_display)
        return;
    // Whatever still waits is posted now, unpaced: a release that never came would leave a key
    // or button held after the program ends.
    for (const Pending& action : m_pending) {
        if (action.keysym)
            m_typer->type(*action.keysym);
        else
            action.post();
    }
    if (m_typer)
        m_typer->restore();
    // Closing flushes and waits for the server, so the restored mapping is in place when we go.
    XCloseDisplay(m_display);
}

void X11Backend::open() {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        m_reason = "未设置 DISPLAY，没有可以接收输入的 X 服务器；请在 X11 会话中运行 Quillvane";
        return;
    }
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        m_reason = std::string("无法打开 X 显示，请确认 X 服务器正在运行并允许此用户连接（") + name + "）";
        return;
    }
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!XTestQueryExtension(m_display, &eventBase, &errorBase, &major, &minor)) {
        m_reason = std::string("X 服务器没有发送输入所需的 XTEST 扩展，请在它的配置中启用（") +
                   name + "）";
        return;
    }
    // Xwayland delivers XTest events to its own X11 windows only; the Wayland desktop and its
    // native applications never see them.
    if (X11Displays::isXwayland(m_display)) {
        m_reason = std::string("这是 Xwayland：输入只能到达 X11 窗口，到不了 Wayland 桌面；请登录 X11 "
                               "会话来控制这台电脑（") +
                   name + "）";
        return;
    }
    // Posted input must not stall while another client holds the server grabbed (window
    // managers do, briefly, while they rearrange windows).
    XTestGrabControl(m_display, True);
    XDisplayKeycodes(m_display, &m_minKeyCode, &m_maxKeyCode);
    m_typer.emplace(m_display, positionKeyCodes());
    m_displays.emplace(m_display);
}

std::vector<DisplayRect> X11Backend::displays() {
    if (!canPost())
        return {};
    return m_displays->layout();
}

std::optional<TrackpadVector> X11Backend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    Window root = 0;
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    int windowX = 0;
    int windowY = 0;
    unsigned int mask = 0;
    if (!XQueryPointer(m_display, DefaultRootWindow(m_display), &root, &child, &rootX, &rootY,
                       &windowX, &windowY, &mask))
        return std::nullopt;
    m_lastPosition = PixelPoint{rootX, rootY};
    return TrackpadVector{static_cast<double>(rootX), static_cast<double>(rootY)};
}

// Where the heads are separate X screens joined by Xinerama (nested servers, one screen per
// graphics card), the server keeps an absolute XTest motion on the screen the pointer is on, so
// a move to another head would stop at its edge. A warp crosses screens and reaches clients as
// the same motion event; moves within a head stay with XTest.
bool X11Backend::needsWarp(PixelPoint to) {
    const auto& heads = m_displays->layout();
    if (!m_displays->headsAreScreens())
        return false;
    if (!m_lastPosition)
        return true;
    const auto headOf = [&](PixelPoint point) {
        return std::find_if(heads.begin(), heads.end(), [&](const DisplayRect& head) {
            return head.contains(point.x, point.y);
        });
    };
    return headOf(*m_lastPosition) != headOf(to);
}

void X11Backend::moveTo(PixelPoint point) {
    if (needsWarp(point))
        XWarpPointer(m_display, None, DefaultRootWindow(m_display), 0, 0, 0, 0, point.x, point.y);
    else
        XTestFakeMotionEvent(m_display, -1, point.x, point.y, CurrentTime);
    m_lastPosition = point;
}

void X11Backend::submit(Pending action) {
    if (m_pending.empty() && !m_batchTimer.isActive() && m_sinceBatch.elapsed() >= batchPauseMs) {
        m_typer->beginBatch();
        m_sinceBatch.restart();
    }
    const bool ready = !action.keysym || m_typer->canTypeNow(*action.keysym);
    if (!m_pending.empty() || !ready) {
        m_pending.push_back(std::move(action));
        if (!m_batchTimer.isActive())
            m_batchTimer.start();
        return;
    }
    if (action.keysym)
        m_typer->type(*action.keysym);
    else
        action.post();
}

void X11Backend::drain() {
    m_typer->beginBatch();
    m_sinceBatch.restart();
    while (!m_pending.empty()) {
        const Pending& action = m_pending.front();
        if (action.keysym && !m_typer->canTypeNow(*action.keysym))
            break;
        if (action.keysym)
            m_typer->type(*action.keysym);
        else
            action.post();
        m_pending.pop_front();
    }
    XFlush(m_display);
    if (!m_pending.empty())
        m_batchTimer.start();
    else if (m_typer->isBorrowing())
        m_restoreTimer.start();
}

void X11Backend::discardPendingText() {
    std::erase_if(m_pending, [](const Pending& action) { return action.keysym.has_value(); });
    if (!m_pending.empty()) {
        m_batchTimer.stop();
        drain(); // nothing left can wait for a key code
    }
}

void X11Backend::mouse(const MouseEvent& event) {
    if (canPost())
        submit({std::nullopt, [this, event] { postMouse(event); }});
}

void X11Backend::scroll(const ScrollEvent& event) {
    if (canPost())
        submit({std::nullopt, [this, event] { postScroll(event); }});
}

void X11Backend::key(std::uint16_t macKeyCode, bool down) {
    if (canPost())
        submit({std::nullopt, [this, macKeyCode, down] { postKey(macKeyCode, down); }});
}

void X11Backend::postMouse(const MouseEvent& event) {
    if (!canPost())
        return;
    const auto point = nearestPixel(event.position);
    if (!point)
        return;
    if (event.type == MouseEventType::moved || event.type == MouseEventType::leftDragged) {
        moveTo(*point);
        return;
    }
    // X11 counts clicks itself from the time and place of each press, so the click state has no
    // field to go in; pressing where the rules say is what makes the count come out right.
    if (m_lastPosition != point)
        moveTo(*point);
    const bool left =
        event.type == MouseEventType::leftDown || event.type == MouseEventType::leftUp;
    const bool down =
        event.type == MouseEventType::leftDown || event.type == MouseEventType::rightDown;
    XTestFakeButtonEvent(m_display, left ? Button1 : Button3, down ? True : False, CurrentTime);
}

void X11Backend::clickWheel(unsigned int button, std::int32_t steps) {
    for (std::int32_t i = 0; i < steps; ++i) {
        XTestFakeButtonEvent(m_display, button, True, CurrentTime);
        XTestFakeButtonEvent(m_display, button, False, CurrentTime);
    }
}

// The pixel amounts keep the meaning they have in a Mac's scroll event: a positive wheel 1 moves
// the view towards the top of the page (the content moves down), a positive wheel 2 towards its
// left, as a wheel turned away from the user or tilted left. X11's buttons 4 and 6 mean exactly
// that. The phone signs its amounts as a Mac with natural scrolling expects, the content following
// the fingers, and mapping by what the content does keeps it so here: a two-finger swipe upwards
// moves the page up, as on a touch screen. The desktop's own natural-scrolling setting belongs to
// physical devices and does not apply to these buttons, so it cannot turn the direction round a
// second time.
void X11Backend::postScroll(const ScrollEvent& event) {
    if (!canPost())
        return;
    const WheelSteps steps = m_wheel.add(event);
    clickWheel(steps.vertical > 0 ? 4 : 5, std::abs(steps.vertical));
    clickWheel(steps.horizontal > 0 ? 6 : 7, std::abs(steps.horizontal));
}

void X11Backend::postKey(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    const auto evdev = evdevKeyForMacKey(macKeyCode);
    if (!evdev)
        return;
    const int code = *evdev + evdevToXKeyCode;
    // A code outside the server's range would be a protocol error, which ends the process.
    if (code < m_minKeyCode || code > m_maxKeyCode)
        return;
    XTestFakeKeyEvent(m_display, static_cast<unsigned int>(code), down ? True : False, CurrentTime);
}

bool X11Backend::text(std::string_view character) {
    if (!canPost() || !isValidUtf8(character))
        return false;
    std::vector<KeySym> keysyms;
    for (const TypedCodePoint& point : TypedCodePoint::of(character)) {
        const auto keysym = keysymForCodePoint(point.codePoint);
        if (!keysym)
            return false;
        keysyms.push_back(*keysym);
    }
    for (const KeySym keysym : keysyms)
        submit({keysym, {}});
    if (m_pending.empty() && m_typer->isBorrowing())
        m_restoreTimer.start();
    return true;
}

void X11Backend::flush() {
    if (!m_display)
        return;
    XFlush(m_display);
    // Events that came in with earlier replies are handled here, without reading the connection
    // again, so the queue never grows between moves.
    if (m_displays)
        m_displays->handleQueuedEvents(QueuedAlready);
}

} // namespace

std::unique_ptr<InputBackend> makeX11Backend() {
    return std::make_unique<X11Backend>();
}

} // namespace quillvane
