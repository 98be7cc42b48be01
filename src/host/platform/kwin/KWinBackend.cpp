#include "KWinBackend.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <linux/input-event-codes.h>
#include <wayland-client.h>

#include <QTimer>

#include "fake-input-client-protocol.h"
#include "platform/common/ClipboardTextRoute.h"
#include "platform/common/ShadowPointer.h"
#include "platform/evdev/MacKeyTable.h"
#include "platform/wayland/WaylandSession.h"
#include "platform/xkb/LayoutTyping.h"

namespace quillvane {
namespace {

// Version 4 added keys; earlier KWins could move the pointer but not type.
constexpr std::uint32_t fakeInputVersion = 4;

class KWinBackend final : public InputBackend {
public:
    KWinBackend();
    ~KWinBackend() override;

    KWinBackend(const KWinBackend&) = delete;
    KWinBackend& operator=(const KWinBackend&) = delete;

    std::string_view name() const override { return "kwin"; }
    bool canPost() const override { return m_reason.empty(); }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override;
    std::optional<TrackpadVector> pointerLocation() override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    void text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override;

private:
    void lose(std::string why);
    void press(std::uint32_t code, bool down);
    void releaseHeld();
    void type(const KeyStroke& stroke);
    void pressPaste();
    // Posts now, or behind the pastes still waiting, so that nothing overtakes pasted text.
    void post(std::function<void()> event);
    void moveTo(TrackpadVector target);

    std::unique_ptr<WaylandSession> m_session;
    org_kde_kwin_fake_input* m_fakeInput = nullptr;
    std::string m_reason;
    // Characters the keymap has no key for are pasted, where the compositor lets us set the
    // clipboard.
    std::unique_ptr<ClipboardTextRoute> m_route;
    ShadowPointer m_shadow;
    std::set<std::uint32_t> m_held;
    // Owns the deferred loss notice, which goes with the backend.
    QObject m_context;
};

KWinBackend::KWinBackend() {
    m_session = WaylandSession::connect(m_reason);
    if (!m_session)
        return;
    m_fakeInput = static_cast<org_kde_kwin_fake_input*>(
        m_session->bind(org_kde_kwin_fake_input_interface, fakeInputVersion));
    if (!m_fakeInput) {
        m_reason = m_session->offersAnyWithPrefix("org_kde_")
                       ? "KWin 只让从已安装的桌面项启动的程序发送输入；请从应用菜单启动 Quillvane，"
                         "或让它在登录时启动，不要从终端启动"
                       : "这个 Wayland 混成器不是 KWin，也不提供 KDE 的模拟输入协议";
        return;
    }
    org_kde_kwin_fake_input_authenticate(m_fakeInput, "Quillvane",
                                         "A paired phone acts as this computer's trackpad and "
                                         "keyboard");
    m_session->flush();
    if (PasteClipboard* clipboard = m_session->clipboard())
        m_route = std::make_unique<ClipboardTextRoute>(*clipboard, [this] { pressPaste(); });
    m_session->setLostHandler([this](std::string why) { lose(std::move(why)); });
}

KWinBackend::~KWinBackend() {
    // Events still waiting behind a paste are posted first, then the user's clipboard restored.
    m_route.reset();
    releaseHeld();
    // KWin takes the releases before the device goes (it drops a release whose fake input is
    // destroyed right behind it); a hung KWin does not hold up the stop.
    if (canPost())
        m_session->settle(1000);
    if (m_fakeInput)
        org_kde_kwin_fake_input_destroy(m_fakeInput);
}

// KWin is gone (restarted or crashed) or withdrew the protocol: what our device held went with it.
// The controller hears of it from the event loop, never from inside one of its own calls (a flush
// can be where the loss shows).
void KWinBackend::lose(std::string why) {
    m_reason = "经 KWin 发送输入已停止（" + why + "）";
    m_held.clear();
    QTimer::singleShot(0, &m_context, [this] { notifyLost(); });
}

void KWinBackend::press(std::uint32_t code, bool down) {
    if (down == m_held.contains(code))
        return;
    const std::uint32_t state = down ? 1 : 0;
    if (code >= BTN_MISC && code < KEY_OK)
        org_kde_kwin_fake_input_button(m_fakeInput, code, state);
    else
        org_kde_kwin_fake_input_keyboard_key(m_fakeInput, code, state);
    if (down)
        m_held.insert(code);
    else
        m_held.erase(code);
}

void KWinBackend::releaseHeld() {
    if (!canPost())
        return;
    for (const std::uint32_t code : std::set<std::uint32_t>(m_held))
        press(code, false);
    m_session->flush();
}

std::vector<DisplayRect> KWinBackend::displays() {
    return canPost() ? m_session->displays() : std::vector<DisplayRect>{};
}

// KWin tells no client where the pointer is; this is where our own motion has left it, unknown
// until the first motion.
std::optional<TrackpadVector> KWinBackend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    return m_shadow.position();
}

void KWinBackend::post(std::function<void()> event) {
    if (m_route)
        m_route->post(std::move(event));
    else
        event();
}

// Relative motion, clamped by KWin as the shadow clamps it; an unknown position is found by
// pinning the pointer in the desktop's top-left corner first.
void KWinBackend::moveTo(TrackpadVector target) {
    m_shadow.setDisplays(m_session->displays());
    const auto motion = [this](TrackpadVector delta) {
        if (delta.x != 0 || delta.y != 0)
            org_kde_kwin_fake_input_pointer_motion(m_fakeInput, wl_fixed_from_double(delta.x),
                                                   wl_fixed_from_double(delta.y));
    };
    if (!m_shadow.position())
        motion(m_shadow.home());
    motion(m_shadow.moveTo(target));
}

// Motion is relative, so a pointer the user moved with a real mouse meanwhile is moved on from
// where it is, not pulled back to where we left it.
void KWinBackend::mouse(const MouseEvent& event) {
    if (!canPost() || !std::isfinite(event.position.x) || !std::isfinite(event.position.y))
        return;
    post([this, event] {
        if (!canPost())
            return;
        moveTo(event.position);
        switch (event.type) {
        case MouseEventType::moved:
        case MouseEventType::leftDragged:
            return;
        case MouseEventType::leftDown:
        case MouseEventType::leftUp:
            press(BTN_LEFT, event.type == MouseEventType::leftDown);
            return;
        case MouseEventType::rightDown:
        case MouseEventType::rightUp:
            press(BTN_RIGHT, event.type == MouseEventType::rightDown);
            return;
        }
    });
}

// Wayland's axis values are in the same units as motion, so the pixels pass through; a positive
// value scrolls down or right, where a Mac's positive pixels move the view up or left.
void KWinBackend::scroll(const ScrollEvent& event) {
    if (!canPost())
        return;
    post([this, event] {
        if (!canPost())
            return;
        if (event.wheel1 != 0)
            org_kde_kwin_fake_input_axis(m_fakeInput, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                         wl_fixed_from_int(-event.wheel1));
        if (event.wheel2 != 0)
            org_kde_kwin_fake_input_axis(m_fakeInput, WL_POINTER_AXIS_HORIZONTAL_SCROLL,
                                         wl_fixed_from_int(-event.wheel2));
    });
}

void KWinBackend::key(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    if (const auto evdev = evdevKeyForMacKey(macKeyCode))
        post([this, code = *evdev, down] {
            if (canPost())
                press(code, down);
        });
}

// One frame of fake input per change; strokeChanges leaves a held modifier alone.
void KWinBackend::type(const KeyStroke& stroke) {
    if (!canPost())
        return;
    for (const auto& [code, down] :
         strokeChanges(stroke, [this](std::uint16_t key) { return m_held.contains(key); }))
        press(code, down);
}

// Ctrl with the key that types "v" in this keymap: programs match the shortcut by its character.
void KWinBackend::pressPaste() {
    const auto& layout = m_session->layout();
    const auto v = layout ? layout->strokeFor(U'v') : std::nullopt;
    type({{KEY_LEFTCTRL}, v ? v->key : std::uint16_t{KEY_V}});
    m_session->flush();
}

// Each character as the keys of the compositor's keymap that type it; one the keymap lacks is
// pasted, where the clipboard can be set.
void KWinBackend::text(std::string_view character) {
    if (canPost())
        typeText(character, m_session->layout() ? &*m_session->layout() : nullptr, m_route.get(),
                 [this](const KeyStroke& stroke) { type(stroke); });
}

void KWinBackend::discardPendingText() {
    if (m_route)
        m_route->discardPendingText();
}

void KWinBackend::flush() {
    if (canPost())
        m_session->flush();
}

} // namespace

std::unique_ptr<InputBackend> makeKWinBackend() {
    return std::make_unique<KWinBackend>();
}

} // namespace quillvane
