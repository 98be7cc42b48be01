#include "WlrootsBackend.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <linux/input-event-codes.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <QTimer>

#include "TextKeymap.h"
#include "platform/common/PostingBackend.h"
#include "platform/wayland/WaylandSession.h"
#include "platform/xkb/Keysym.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

namespace quillvane {
namespace {

// XKB numbers a key as its evdev code plus 8.
constexpr std::uint32_t evdevOffset = 8;
// How often a lost compositor is looked for again on the same socket.
constexpr int reconnectMs = 1000;

std::uint32_t nowMs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

struct XkbContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
struct XkbKeymapDeleter {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};
struct XkbStateDeleter {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

// A file the compositor can map, holding a keymap with its terminating NUL.
int keymapFile(const std::string& text) {
    const int fd = memfd_create("quillvane-keymap", MFD_CLOEXEC);
    if (fd < 0)
        return -1;
    const std::size_t size = text.size() + 1;
    if (write(fd, text.c_str(), size) != static_cast<ssize_t>(size)) {
        close(fd);
        return -1;
    }
    return fd;
}

class WlrootsBackend final : public PostingBackend {
public:
    WlrootsBackend();
    ~WlrootsBackend() override;

    WlrootsBackend(const WlrootsBackend&) = delete;
    WlrootsBackend& operator=(const WlrootsBackend&) = delete;

    std::string_view name() const override { return "wlroots"; }
    std::vector<DisplayRect> displays() override;

private:
    // Connects and creates the virtual devices; false, with the reason given, when it cannot.
    bool connect();
    void disconnect();
    void takeSeatKeymap(std::string_view text);
    void useBaseKeymap();
    void sendModifiers();

    // wlroots moves its cursor by a virtual pointer's motion as it is, without acceleration.
    void postMotion(TrackpadVector delta) override;
    void postButton(std::uint32_t code, bool down) override;
    void postKey(std::uint32_t code, bool down) override;
    void postScroll(const ScrollEvent& event) override;
    void send() override { m_session->flush(); }
    // Every character with a keysym is typed, under a keymap made for it.
    const LayoutKeys* layout() override { return nullptr; }
    bool canType(char32_t codePoint) override { return keysymFor(codePoint).has_value(); }
    void type(char32_t codePoint) override { m_text.push_back(codePoint); }
    void typeHeldText() override;
    void discardHeldText() override { m_text.clear(); }
    void axis(std::uint32_t time, std::uint32_t axis, std::int32_t pixels);
    void stopAxes(std::uint32_t time);

    std::unique_ptr<WaylandSession> m_session;
    zwlr_virtual_pointer_manager_v1* m_pointerManager = nullptr;
    zwp_virtual_keyboard_manager_v1* m_keyboardManager = nullptr;
    zwlr_virtual_pointer_v1* m_pointer = nullptr;
    zwp_virtual_keyboard_v1* m_keyboard = nullptr;
    // Looks for a lost compositor again on the same socket.
    QTimer m_reconnect;

    // The keymap keys are typed with: the seat's when it had a keyboard, else the system's
    // default; its state gives the modifiers the held keys make.
    std::unique_ptr<xkb_context, XkbContextDeleter> m_xkb;
    std::string m_baseKeymapText;
    std::unique_ptr<xkb_keymap, XkbKeymapDeleter> m_baseKeymap;
    std::unique_ptr<xkb_state, XkbStateDeleter> m_baseState;
    // Characters given to text() and not typed yet: they go together under one keymap.
    std::vector<char32_t> m_text;
    bool m_scrolling = false;
};

WlrootsBackend::WlrootsBackend()
    : PostingBackend(), m_xkb(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
    m_reconnect.setInterval(reconnectMs);
    QObject::connect(&m_reconnect, &QTimer::timeout, &m_reconnect, [this] {
        if (connect())
            m_reconnect.stop();
    });
    connect();
}

WlrootsBackend::~WlrootsBackend() {
    if (canPost()) {
        letGo();
        if (m_scrolling) {
            stopAxes(nowMs());
            zwlr_virtual_pointer_v1_frame(m_pointer);
        }
        // The compositor takes the releases before the devices go (sway drops a release whose
        // virtual pointer is destroyed right behind it); a hung one does not hold up the stop.
        m_session->settle(1000);
    }
    disconnect();
}

bool WlrootsBackend::connect() {
    std::string reason;
    m_session = WaylandSession::connect(reason);
    if (!m_session) {
        lose(reason);
        return false;
    }
    m_pointerManager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        m_session->bind(zwlr_virtual_pointer_manager_v1_interface, 1));
    m_keyboardManager = static_cast<zwp_virtual_keyboard_manager_v1*>(
        m_session->bind(zwp_virtual_keyboard_manager_v1_interface, 1));
    if (!m_pointerManager || !m_keyboardManager || !m_session->seat()) {
        disconnect();
        lose("这个 Wayland 混成器不提供虚拟指针和键盘；sway、Hyprland、labwc 等 wlroots 混成器提供");
        return false;
    }
    // Taken once: after our keyboard joins the seat, the keymap the seat sends may be our own.
    if (m_baseKeymapText.empty())
        takeSeatKeymap(m_session->keymapText());
    m_pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(m_pointerManager,
                                                                       m_session->seat());
    m_keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(m_keyboardManager,
                                                                         m_session->seat());
    useBaseKeymap();
    if (wl_display_roundtrip(m_session->display()) < 0) {
        // A compositor may refuse the keyboard to some clients (a protocol error).
        disconnect();
        lose("Wayland 混成器拒绝为这个程序创建虚拟键盘");
        return false;
    }
    // The compositor is gone (restarted or crashed) or withdrew what we post with: whatever our
    // devices held went with them. The session is closed from the event loop, never from inside
    // its own callback.
    m_session->setLostHandler([this](const std::string& why) {
        lose("经 Wayland 混成器发送输入已停止，正在等它恢复（" + why + "）");
        QTimer::singleShot(0, &m_reconnect, [this] {
            disconnect();
            m_reconnect.start();
        });
    });
    m_scrolling = false;
    setAvailable(nullptr);
    return true;
}

void WlrootsBackend::disconnect() {
    // On a broken connection the requests are dropped and only our side is freed.
    if (m_pointer)
        zwlr_virtual_pointer_v1_destroy(m_pointer);
    if (m_keyboard)
        zwp_virtual_keyboard_v1_destroy(m_keyboard);
    if (m_pointerManager)
        zwlr_virtual_pointer_manager_v1_destroy(m_pointerManager);
    if (m_keyboardManager)
        zwp_virtual_keyboard_manager_v1_destroy(m_keyboardManager);
    m_session.reset();
    m_pointerManager = nullptr;
    m_keyboardManager = nullptr;
    m_pointer = nullptr;
    m_keyboard = nullptr;
    m_text.clear();
}

void WlrootsBackend::takeSeatKeymap(std::string_view text) {
    std::unique_ptr<xkb_keymap, XkbKeymapDeleter> keymap;
    if (!text.empty()) {
        const std::string copy(text);
        keymap.reset(xkb_keymap_new_from_string(m_xkb.get(), copy.c_str(),
                                                XKB_KEYMAP_FORMAT_TEXT_V1,
                                                XKB_KEYMAP_COMPILE_NO_FLAGS));
    }
    if (!keymap)
        keymap.reset(xkb_keymap_new_from_names(m_xkb.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return;
    char* asText = xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1);
    if (!asText)
        return;
    m_baseKeymapText = asText;
    std::free(asText);
    m_baseState.reset(xkb_state_new(keymap.get()));
    m_baseKeymap = std::move(keymap);
}

void WlrootsBackend::useBaseKeymap() {
    const int fd = keymapFile(m_baseKeymapText);
    if (fd < 0)
        return;
    zwp_virtual_keyboard_v1_keymap(m_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                   static_cast<std::uint32_t>(m_baseKeymapText.size() + 1));
    close(fd);
    sendModifiers();
}

// The virtual keyboard reports keys only; which modifiers they make is ours to say, from the
// real keymap's state of the keys held.
void WlrootsBackend::sendModifiers() {
    if (!m_baseState)
        return;
    zwp_virtual_keyboard_v1_modifiers(
        m_keyboard, xkb_state_serialize_mods(m_baseState.get(), XKB_STATE_MODS_DEPRESSED),
        xkb_state_serialize_mods(m_baseState.get(), XKB_STATE_MODS_LATCHED),
        xkb_state_serialize_mods(m_baseState.get(), XKB_STATE_MODS_LOCKED),
        xkb_state_serialize_layout(m_baseState.get(), XKB_STATE_LAYOUT_EFFECTIVE));
}

std::vector<DisplayRect> WlrootsBackend::displays() {
    return canPost() ? m_session->displays() : std::vector<DisplayRect>{};
}

void WlrootsBackend::postMotion(TrackpadVector delta) {
    zwlr_virtual_pointer_v1_motion(m_pointer, nowMs(), wl_fixed_from_double(delta.x),
                                   wl_fixed_from_double(delta.y));
    zwlr_virtual_pointer_v1_frame(m_pointer);
}

void WlrootsBackend::postButton(std::uint32_t code, bool down) {
    zwlr_virtual_pointer_v1_button(m_pointer, nowMs(), code,
                                   down ? WL_POINTER_BUTTON_STATE_PRESSED
                                        : WL_POINTER_BUTTON_STATE_RELEASED);
    zwlr_virtual_pointer_v1_frame(m_pointer);
}

// Smooth scrolling from fingers: the client scrolls by the pixels given and, after the stop that
// ends the gesture (or its momentum), may coast on by itself. Signs: a positive wheel 1 moves the
// view towards the top of the page, as a wheel turned away from the user; on Wayland that is a
// negative vertical axis value (and likewise wheel 2 leftwards). The phone signs its amounts for
// natural scrolling, so the content follows the fingers.
void WlrootsBackend::postScroll(const ScrollEvent& event) {
    const bool ends = event.phase == ScrollEvent::Phase::ended ||
                      event.phase == ScrollEvent::Phase::cancelled ||
                      event.momentum == ScrollEvent::Momentum::ended;
    if (event.wheel1 == 0 && event.wheel2 == 0 && !(ends && m_scrolling))
        return;
    const std::uint32_t time = nowMs();
    if (event.wheel1 != 0)
        axis(time, WL_POINTER_AXIS_VERTICAL_SCROLL, -event.wheel1);
    if (event.wheel2 != 0)
        axis(time, WL_POINTER_AXIS_HORIZONTAL_SCROLL, -event.wheel2);
    m_scrolling = !ends;
    if (ends)
        stopAxes(time);
    zwlr_virtual_pointer_v1_frame(m_pointer);
}

// wlroots takes the source for the axis of the request just before it, so it follows each axis
// and each stop; a frame whose axes disagree on their source brings the compositor down.
void WlrootsBackend::axis(std::uint32_t time, std::uint32_t axis, std::int32_t pixels) {
    zwlr_virtual_pointer_v1_axis(m_pointer, time, axis, wl_fixed_from_int(pixels));
    zwlr_virtual_pointer_v1_axis_source(m_pointer, WL_POINTER_AXIS_SOURCE_FINGER);
}

void WlrootsBackend::stopAxes(std::uint32_t time) {
    for (const std::uint32_t axis :
         {WL_POINTER_AXIS_VERTICAL_SCROLL, WL_POINTER_AXIS_HORIZONTAL_SCROLL}) {
        zwlr_virtual_pointer_v1_axis_stop(m_pointer, time, axis);
        zwlr_virtual_pointer_v1_axis_source(m_pointer, WL_POINTER_AXIS_SOURCE_FINGER);
    }
}

void WlrootsBackend::postKey(std::uint32_t evdevKey, bool down) {
    zwp_virtual_keyboard_v1_key(m_keyboard, nowMs(), evdevKey,
                                down ? WL_KEYBOARD_KEY_STATE_PRESSED
                                     : WL_KEYBOARD_KEY_STATE_RELEASED);
    if (m_baseState) {
        const xkb_state_component changed = xkb_state_update_key(
            m_baseState.get(), evdevKey + evdevOffset, down ? XKB_KEY_DOWN : XKB_KEY_UP);
        if (changed & (XKB_STATE_MODS_EFFECTIVE | XKB_STATE_LAYOUT_EFFECTIVE))
            sendModifiers();
    }
}

// The characters waiting are typed under a keymap of their own, without modifiers, and the real
// keymap and modifiers are put back at once: the compositor hands the keymaps and keys to the
// focused client in the order given, so each key is read with the keymap it was sent under.
void WlrootsBackend::typeHeldText() {
    if (!canPost())
        m_text.clear();
    std::size_t done = 0;
    while (done < m_text.size()) {
        const TextKeymap keymap(
            std::vector<char32_t>(m_text.begin() + static_cast<std::ptrdiff_t>(done), m_text.end()));
        const int fd = keymapFile(keymap.text());
        if (fd < 0)
            break;
        zwp_virtual_keyboard_v1_keymap(m_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                       static_cast<std::uint32_t>(keymap.text().size() + 1));
        close(fd);
        zwp_virtual_keyboard_v1_modifiers(m_keyboard, 0, 0, 0, 0);
        for (std::size_t i = 0; i < keymap.covered(); ++i) {
            const std::uint16_t key = keymap.keys()[i];
            if (key == 0)
                continue;
            const std::uint32_t time = nowMs();
            zwp_virtual_keyboard_v1_key(m_keyboard, time, key, WL_KEYBOARD_KEY_STATE_PRESSED);
            zwp_virtual_keyboard_v1_key(m_keyboard, time, key, WL_KEYBOARD_KEY_STATE_RELEASED);
        }
        useBaseKeymap();
        done += std::max<std::size_t>(keymap.covered(), 1);
    }
    m_text.clear();
}

} // namespace

std::unique_ptr<InputBackend> makeWlrootsBackend() {
    return std::make_unique<WlrootsBackend>();
}

} // namespace quillvane
