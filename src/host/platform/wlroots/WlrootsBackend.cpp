#include "WlrootsBackend.h"

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <linux/input-event-codes.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <QSocketNotifier>
#include <QTimer>

#include "TextKeymap.h"
#include "platform/common/ShadowPointer.h"
#include "platform/evdev/MacKeyTable.h"
#include "protocol/Unicode.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"
#include "xdg-output-unstable-v1-client-protocol.h"

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

struct Output {
    std::uint32_t name = 0;
    wl_output* output = nullptr;
    zxdg_output_v1* logical = nullptr;
    // From wl_output: the position in the compositor's space, the current mode in pixels and the
    // scale; from xdg-output, when the compositor has it, the logical rectangle itself.
    DisplayRect fromOutput;
    std::int32_t scale = 1;
    std::optional<DisplayRect> fromLogical;

    DisplayRect rect() const {
        if (fromLogical)
            return *fromLogical;
        DisplayRect rect = fromOutput;
        rect.width /= std::max(scale, 1);
        rect.height /= std::max(scale, 1);
        return rect;
    }
};

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

class WlrootsBackend final : public InputBackend {
public:
    WlrootsBackend();
    ~WlrootsBackend() override;

    WlrootsBackend(const WlrootsBackend&) = delete;
    WlrootsBackend& operator=(const WlrootsBackend&) = delete;

    std::string_view name() const override { return "wlroots"; }
    bool canPost() const override { return m_reason.empty(); }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override;
    std::optional<TrackpadVector> pointerLocation() override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    void text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override { m_text.clear(); }

private:
    static const wl_registry_listener registryListener;
    static const wl_output_listener outputListener;
    static const zxdg_output_v1_listener logicalOutputListener;
    static const wl_seat_listener seatListener;
    static const wl_keyboard_listener keyboardListener;

    // Connects and creates the virtual devices; false with m_reason set when it cannot.
    bool connect();
    void disconnect();
    void global(wl_registry* registry, std::uint32_t name, const char* interface,
                std::uint32_t version);
    void globalRemoved(std::uint32_t name);
    void watchLogicalGeometry(Output& output);
    void takeSeatKeymap(std::string_view text);
    void useBaseKeymap();
    void readEvents();
    void checkConnection();
    void lose(std::string reason);

    void moveTo(TrackpadVector target);
    void button(std::uint32_t code, bool down);
    void axis(std::uint32_t time, std::uint32_t axis, std::int32_t pixels);
    void stopAxes(std::uint32_t time);
    void press(std::uint32_t evdevKey, bool down);
    void sendModifiers();
    void typePendingText();
    void releaseHeld();

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    zwlr_virtual_pointer_manager_v1* m_pointerManager = nullptr;
    zwp_virtual_keyboard_manager_v1* m_keyboardManager = nullptr;
    zxdg_output_manager_v1* m_outputManager = nullptr;
    wl_seat* m_seat = nullptr;
    std::uint32_t m_seatName = 0;
    wl_keyboard* m_seatKeyboard = nullptr;
    zwlr_virtual_pointer_v1* m_pointer = nullptr;
    zwp_virtual_keyboard_v1* m_keyboard = nullptr;
    std::list<Output> m_outputs;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_reconnect;
    std::string m_reason;

    ShadowPointer m_shadow;
    // Buttons and keys (evdev codes) this backend holds down.
    std::set<std::uint32_t> m_buttons;
    std::set<std::uint32_t> m_keys;
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

WlrootsBackend::WlrootsBackend() : m_xkb(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
    m_reconnect.setInterval(reconnectMs);
    QObject::connect(&m_reconnect, &QTimer::timeout, &m_reconnect, [this] {
        if (connect())
            m_reconnect.stop();
    });
    connect();
}

WlrootsBackend::~WlrootsBackend() {
    if (m_display && canPost()) {
        typePendingText();
        releaseHeld();
    }
    disconnect();
}

bool WlrootsBackend::connect() {
    const char* socket = std::getenv("WAYLAND_DISPLAY");
    if (!socket || !*socket) {
        m_reason = "WAYLAND_DISPLAY is not set, so there is no Wayland compositor to post input to";
        return false;
    }
    m_display = wl_display_connect(nullptr);
    if (!m_display) {
        m_reason = std::string("Cannot connect to the Wayland compositor \"") + socket + "\"";
        return false;
    }
    m_registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(m_registry, &registryListener, this);
    // The first round trip lists the globals, the second brings what binding them sent: output
    // geometry and the seat's keymap.
    wl_display_roundtrip(m_display);
    wl_display_roundtrip(m_display);
    if (!m_pointerManager || !m_keyboardManager || !m_seat) {
        disconnect();
        m_reason = "This Wayland compositor offers no virtual pointer and keyboard (wlroots' "
                   "protocols, which sway, Hyprland and labwc have)";
        return false;
    }
    // The seat's keyboard was wanted for its keymap only; ours joins the seat next, and the keymap
    // the seat then sends would be our own.
    if (m_seatKeyboard) {
        wl_keyboard_destroy(m_seatKeyboard);
        m_seatKeyboard = nullptr;
    }
    if (m_baseKeymapText.empty())
        takeSeatKeymap({});
    m_pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(m_pointerManager, m_seat);
    m_keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(m_keyboardManager, m_seat);
    useBaseKeymap();
    if (wl_display_roundtrip(m_display) < 0) {
        // A compositor may refuse the keyboard to some clients (a protocol error).
        disconnect();
        m_reason = "The Wayland compositor refused this program a virtual keyboard";
        return false;
    }
    m_shadow.forget();
    m_reason.clear();
    m_notifier = std::make_unique<QSocketNotifier>(wl_display_get_fd(m_display),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
    notifyRestored();
    return true;
}

void WlrootsBackend::disconnect() {
    m_notifier.reset();
    if (!m_display)
        return;
    if (m_pointer)
        zwlr_virtual_pointer_v1_destroy(m_pointer);
    if (m_keyboard)
        zwp_virtual_keyboard_v1_destroy(m_keyboard);
    for (Output& output : m_outputs) {
        if (output.logical)
            zxdg_output_v1_destroy(output.logical);
        wl_output_destroy(output.output);
    }
    m_outputs.clear();
    if (m_seatKeyboard)
        wl_keyboard_destroy(m_seatKeyboard);
    if (m_seat)
        wl_seat_destroy(m_seat);
    if (m_outputManager)
        zxdg_output_manager_v1_destroy(m_outputManager);
    if (m_pointerManager)
        zwlr_virtual_pointer_manager_v1_destroy(m_pointerManager);
    if (m_keyboardManager)
        zwp_virtual_keyboard_manager_v1_destroy(m_keyboardManager);
    if (m_registry)
        wl_registry_destroy(m_registry);
    wl_display_flush(m_display);
    wl_display_disconnect(m_display);
    m_display = nullptr;
    m_registry = nullptr;
    m_pointerManager = nullptr;
    m_keyboardManager = nullptr;
    m_outputManager = nullptr;
    m_seat = nullptr;
    m_seatKeyboard = nullptr;
    m_pointer = nullptr;
    m_keyboard = nullptr;
    m_buttons.clear();
    m_keys.clear();
    m_text.clear();
    m_scrolling = false;
}

void WlrootsBackend::global(wl_registry* registry, std::uint32_t name, const char* interface,
                            std::uint32_t version) {
    const std::string_view kind(interface);
    if (kind == zwlr_virtual_pointer_manager_v1_interface.name) {
        m_pointerManager = static_cast<zwlr_virtual_pointer_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
    } else if (kind == zwp_virtual_keyboard_manager_v1_interface.name) {
        m_keyboardManager = static_cast<zwp_virtual_keyboard_manager_v1*>(
            wl_registry_bind(registry, name, &zwp_virtual_keyboard_manager_v1_interface, 1));
    } else if (kind == wl_output_interface.name) {
        Output& output = m_outputs.emplace_back();
        output.name = name;
        output.output = static_cast<wl_output*>(
            wl_registry_bind(registry, name, &wl_output_interface, std::min(version, 2u)));
        wl_output_add_listener(output.output, &outputListener, &output);
        watchLogicalGeometry(output);
    } else if (kind == zxdg_output_manager_v1_interface.name) {
        m_outputManager = static_cast<zxdg_output_manager_v1*>(wl_registry_bind(
            registry, name, &zxdg_output_manager_v1_interface, std::min(version, 2u)));
        for (Output& output : m_outputs)
            watchLogicalGeometry(output);
    } else if (kind == wl_seat_interface.name && !m_seat) {
        m_seatName = name;
        m_seat = static_cast<wl_seat*>(
            wl_registry_bind(registry, name, &wl_seat_interface, std::min(version, 4u)));
        wl_seat_add_listener(m_seat, &seatListener, this);
    }
}

void WlrootsBackend::watchLogicalGeometry(Output& output) {
    if (!m_outputManager || output.logical)
        return;
    output.logical = zxdg_output_manager_v1_get_xdg_output(m_outputManager, output.output);
    zxdg_output_v1_add_listener(output.logical, &logicalOutputListener, &output);
}

void WlrootsBackend::globalRemoved(std::uint32_t name) {
    if (name == m_seatName && m_seat) {
        lose("The Wayland compositor removed the seat this program posted to");
        return;
    }
    for (auto output = m_outputs.begin(); output != m_outputs.end(); ++output) {
        if (output->name != name)
            continue;
        if (output->logical)
            zxdg_output_v1_destroy(output->logical);
        wl_output_destroy(output->output);
        m_outputs.erase(output);
        return;
    }
}

// The real keymap: the seat's, as the compositor applies it to its own keyboards, or, when the
// seat has no keyboard to take it from, the system's default layout.
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

void WlrootsBackend::readEvents() {
    if (!m_display)
        return;
    if (wl_display_prepare_read(m_display) == 0)
        wl_display_read_events(m_display);
    wl_display_dispatch_pending(m_display);
    checkConnection();
}

void WlrootsBackend::checkConnection() {
    if (m_display && wl_display_get_error(m_display) != 0)
        lose("The Wayland compositor closed its connection");
}

void WlrootsBackend::lose(std::string reason) {
    disconnect();
    m_reason = std::move(reason) + "; waiting for it to come back";
    m_reconnect.start();
    notifyLost();
}

std::vector<DisplayRect> WlrootsBackend::displays() {
    if (!canPost())
        return {};
    std::vector<DisplayRect> rects;
    for (const Output& output : m_outputs)
        if (output.rect().isUsable())
            rects.push_back(output.rect());
    if (rects != m_shadow.displays())
        m_shadow.setDisplays(rects);
    return rects;
}

std::optional<TrackpadVector> WlrootsBackend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    return m_shadow.position();
}

void WlrootsBackend::moveTo(TrackpadVector target) {
    displays();
    if (!m_shadow.position()) {
        const TrackpadVector home = m_shadow.home();
        zwlr_virtual_pointer_v1_motion(m_pointer, nowMs(), wl_fixed_from_double(home.x),
                                       wl_fixed_from_double(home.y));
        zwlr_virtual_pointer_v1_frame(m_pointer);
    }
    const TrackpadVector delta = m_shadow.moveTo(target);
    if (delta.x == 0 && delta.y == 0)
        return;
    zwlr_virtual_pointer_v1_motion(m_pointer, nowMs(), wl_fixed_from_double(delta.x),
                                   wl_fixed_from_double(delta.y));
    zwlr_virtual_pointer_v1_frame(m_pointer);
}

void WlrootsBackend::button(std::uint32_t code, bool down) {
    if (down == m_buttons.contains(code))
        return;
    zwlr_virtual_pointer_v1_button(m_pointer, nowMs(), code,
                                   down ? WL_POINTER_BUTTON_STATE_PRESSED
                                        : WL_POINTER_BUTTON_STATE_RELEASED);
    zwlr_virtual_pointer_v1_frame(m_pointer);
    if (down)
        m_buttons.insert(code);
    else
        m_buttons.erase(code);
}

void WlrootsBackend::mouse(const MouseEvent& event) {
    if (!canPost() || !std::isfinite(event.position.x) || !std::isfinite(event.position.y))
        return;
    typePendingText();
    moveTo(event.position);
    switch (event.type) {
    case MouseEventType::leftDown:
    case MouseEventType::leftUp:
        button(BTN_LEFT, event.type == MouseEventType::leftDown);
        break;
    case MouseEventType::rightDown:
    case MouseEventType::rightUp:
        button(BTN_RIGHT, event.type == MouseEventType::rightDown);
        break;
    case MouseEventType::moved:
    case MouseEventType::leftDragged:
        break;
    }
}

// Smooth scrolling from fingers: the client scrolls by the pixels given and, after the stop that
// ends the gesture (or its momentum), may coast on by itself. Signs: a positive wheel 1 moves the
// view towards the top of the page, as a wheel turned away from the user; on Wayland that is a
// negative vertical axis value (and likewise wheel 2 leftwards). The phone signs its amounts for
// natural scrolling, so the content follows the fingers.
void WlrootsBackend::scroll(const ScrollEvent& event) {
    if (!canPost())
        return;
    typePendingText();
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

void WlrootsBackend::press(std::uint32_t evdevKey, bool down) {
    if (down == m_keys.contains(evdevKey))
        return;
    zwp_virtual_keyboard_v1_key(m_keyboard, nowMs(), evdevKey,
                                down ? WL_KEYBOARD_KEY_STATE_PRESSED
                                     : WL_KEYBOARD_KEY_STATE_RELEASED);
    if (down)
        m_keys.insert(evdevKey);
    else
        m_keys.erase(evdevKey);
    if (m_baseState) {
        const xkb_state_component changed = xkb_state_update_key(
            m_baseState.get(), evdevKey + evdevOffset, down ? XKB_KEY_DOWN : XKB_KEY_UP);
        if (changed & (XKB_STATE_MODS_EFFECTIVE | XKB_STATE_LAYOUT_EFFECTIVE))
            sendModifiers();
    }
}

void WlrootsBackend::key(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    typePendingText();
    if (const auto evdev = evdevKeyForMacKey(macKeyCode))
        press(*evdev, down);
}

void WlrootsBackend::text(std::string_view character) {
    if (!canPost() || !isValidUtf8(character))
        return;
    for (std::size_t offset = 0; offset < character.size();) {
        const char32_t codePoint = nextCodePoint(character, offset);
        // CR LF is one line break.
        if (codePoint == U'\n' && !m_text.empty() && m_text.back() == U'\r')
            continue;
        m_text.push_back(codePoint);
    }
}

// The characters waiting are typed under a keymap of their own, without modifiers, and the real
// keymap and modifiers are put back at once: the compositor hands the keymaps and keys to the
// focused client in the order given, so each key is read with the keymap it was sent under.
void WlrootsBackend::typePendingText() {
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

void WlrootsBackend::releaseHeld() {
    for (const std::uint32_t code : std::set<std::uint32_t>(m_buttons))
        button(code, false);
    for (const std::uint32_t key : std::set<std::uint32_t>(m_keys))
        press(key, false);
    if (m_scrolling) {
        stopAxes(nowMs());
        zwlr_virtual_pointer_v1_frame(m_pointer);
        m_scrolling = false;
    }
    wl_display_flush(m_display);
}

void WlrootsBackend::flush() {
    if (!m_display || !canPost())
        return;
    typePendingText();
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN)
        // The loss is reported from the event loop, not from inside this call.
        QTimer::singleShot(0, &m_reconnect, [this] { checkConnection(); });
}

const wl_registry_listener WlrootsBackend::registryListener = {
    [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
       std::uint32_t version) {
        static_cast<WlrootsBackend*>(data)->global(registry, name, interface, version);
    },
    [](void* data, wl_registry*, std::uint32_t name) {
        static_cast<WlrootsBackend*>(data)->globalRemoved(name);
    },
};

const wl_output_listener WlrootsBackend::outputListener = {
    [](void* data, wl_output*, std::int32_t x, std::int32_t y, std::int32_t, std::int32_t,
       std::int32_t, const char*, const char*, std::int32_t) {
        auto& output = *static_cast<Output*>(data);
        output.fromOutput.x = x;
        output.fromOutput.y = y;
    },
    [](void* data, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
       std::int32_t) {
        if (flags & WL_OUTPUT_MODE_CURRENT) {
            auto& output = *static_cast<Output*>(data);
            output.fromOutput.width = width;
            output.fromOutput.height = height;
        }
    },
    [](void*, wl_output*) {},
    [](void* data, wl_output*, std::int32_t factor) { static_cast<Output*>(data)->scale = factor; },
    [](void*, wl_output*, const char*) {},
    [](void*, wl_output*, const char*) {},
};

const zxdg_output_v1_listener WlrootsBackend::logicalOutputListener = {
    [](void* data, zxdg_output_v1*, std::int32_t x, std::int32_t y) {
        auto& output = *static_cast<Output*>(data);
        DisplayRect rect = output.fromLogical.value_or(DisplayRect{});
        rect.x = x;
        rect.y = y;
        output.fromLogical = rect;
    },
    [](void* data, zxdg_output_v1*, std::int32_t width, std::int32_t height) {
        auto& output = *static_cast<Output*>(data);
        DisplayRect rect = output.fromLogical.value_or(DisplayRect{});
        rect.width = width;
        rect.height = height;
        output.fromLogical = rect;
    },
    [](void*, zxdg_output_v1*) {},
    [](void*, zxdg_output_v1*, const char*) {},
    [](void*, zxdg_output_v1*, const char*) {},
};

const wl_seat_listener WlrootsBackend::seatListener = {
    [](void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& backend = *static_cast<WlrootsBackend*>(data);
        // Only while connecting: afterwards the seat's keyboard may be our own.
        if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !backend.m_seatKeyboard &&
            !backend.m_keyboard) {
            backend.m_seatKeyboard = wl_seat_get_keyboard(seat);
            wl_keyboard_add_listener(backend.m_seatKeyboard, &keyboardListener, &backend);
        }
    },
    [](void*, wl_seat*, const char*) {},
};

const wl_keyboard_listener WlrootsBackend::keyboardListener = {
    [](void* data, wl_keyboard*, std::uint32_t format, std::int32_t fd, std::uint32_t size) {
        auto& backend = *static_cast<WlrootsBackend*>(data);
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
            void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
            if (text != MAP_FAILED) {
                // The text ends with a NUL the size includes.
                backend.takeSeatKeymap(std::string_view(static_cast<const char*>(text), size - 1));
                munmap(text, size);
            }
        }
        close(fd);
    },
    [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
    [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
       std::uint32_t) {},
    [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
};

} // namespace

std::unique_ptr<InputBackend> makeWlrootsBackend() {
    return std::make_unique<WlrootsBackend>();
}

} // namespace quillvane
