#include "KWinBackend.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
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

#include <QSocketNotifier>

#include "fake-input-client-protocol.h"
#include "platform/common/ClipboardTextRoute.h"
#include "platform/evdev/MacKeyTable.h"
#include "platform/wayland/DataControlClipboard.h"
#include "platform/xkb/LayoutKeys.h"
#include "protocol/Unicode.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"
#include "xdg-output-unstable-v1-client-protocol.h"

namespace quillvane {
namespace {

// Version 4 added keys; earlier KWins could move the pointer but not type.
constexpr std::uint32_t fakeInputVersion = 4;

struct Output {
    std::uint32_t name = 0;
    wl_output* output = nullptr;
    zxdg_output_v1* logical = nullptr;
    // From wl_output: the position in the compositor's space, the current mode in pixels, the
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
    static const wl_registry_listener registryListener;
    static const wl_output_listener outputListener;
    static const zxdg_output_v1_listener logicalOutputListener;
    static const wl_seat_listener seatListener;
    static const wl_keyboard_listener keyboardListener;

    void global(wl_registry* registry, std::uint32_t name, const char* interface,
                std::uint32_t version);
    void globalRemoved(std::uint32_t name);
    void watchLogicalGeometry(Output& output);
    void readEvents();
    void lose(std::string reason);
    void press(std::uint32_t code, bool down);
    void releaseHeld();
    void type(const KeyStroke& stroke);
    void pressPaste();
    // Posts now, or behind the pastes still waiting, so that nothing overtakes pasted text.
    void post(std::function<void()> event);

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    org_kde_kwin_fake_input* m_fakeInput = nullptr;
    std::uint32_t m_fakeInputName = 0;
    zxdg_output_manager_v1* m_outputManager = nullptr;
    zwlr_data_control_manager_v1* m_dataControl = nullptr;
    wl_seat* m_seat = nullptr;
    wl_keyboard* m_keyboard = nullptr;
    std::list<Output> m_outputs;
    // Whether the compositor showed itself as KWin (any of its own globals), for the explanation.
    bool m_isKWin = false;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::string m_reason;

    std::optional<LayoutKeys> m_layout;
    // Characters the keymap has no key for are pasted, where the compositor lets us set the
    // clipboard.
    std::unique_ptr<DataControlClipboard> m_clipboard;
    std::unique_ptr<ClipboardTextRoute> m_route;
    std::optional<TrackpadVector> m_shadow;
    std::set<std::uint32_t> m_held;
};

KWinBackend::KWinBackend() {
    const char* socket = std::getenv("WAYLAND_DISPLAY");
    if (!socket || !*socket) {
        m_reason = "WAYLAND_DISPLAY is not set, so there is no Wayland compositor to post input to";
        return;
    }
    m_display = wl_display_connect(nullptr);
    if (!m_display) {
        m_reason = std::string("Cannot connect to the Wayland compositor \"") + socket + "\"";
        return;
    }
    m_registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(m_registry, &registryListener, this);
    // The first round trip lists the globals, the second brings what binding them sent: output
    // geometry and the keymap.
    wl_display_roundtrip(m_display);
    wl_display_roundtrip(m_display);
    if (!m_fakeInput) {
        m_reason = m_isKWin
                       ? "KWin lets a program post input only when it was started from its "
                         "installed desktop entry; start Quillvane from the application menu or "
                         "at login, not from a terminal"
                       : "This Wayland compositor is not KWin and offers no KDE fake-input "
                         "protocol";
        return;
    }
    if (m_dataControl && m_seat) {
        m_clipboard = std::make_unique<DataControlClipboard>(m_display, m_dataControl, m_seat);
        m_route = std::make_unique<ClipboardTextRoute>(*m_clipboard, [this] { pressPaste(); });
    }
    org_kde_kwin_fake_input_authenticate(m_fakeInput, "Quillvane",
                                         "A paired phone acts as this computer's trackpad and "
                                         "keyboard");
    wl_display_flush(m_display);
    m_notifier = std::make_unique<QSocketNotifier>(wl_display_get_fd(m_display),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
}

KWinBackend::~KWinBackend() {
    if (!m_display)
        return;
    // Events still waiting behind a paste are posted first, then the user's clipboard restored.
    m_route.reset();
    m_clipboard.reset();
    m_notifier.reset();
    releaseHeld();
    for (Output& output : m_outputs) {
        if (output.logical)
            zxdg_output_v1_destroy(output.logical);
        wl_output_destroy(output.output);
    }
    if (m_keyboard)
        wl_keyboard_destroy(m_keyboard);
    if (m_seat)
        wl_seat_destroy(m_seat);
    if (m_outputManager)
        zxdg_output_manager_v1_destroy(m_outputManager);
    if (m_dataControl)
        zwlr_data_control_manager_v1_destroy(m_dataControl);
    if (m_fakeInput)
        org_kde_kwin_fake_input_destroy(m_fakeInput);
    if (m_registry)
        wl_registry_destroy(m_registry);
    wl_display_flush(m_display);
    wl_display_disconnect(m_display);
}

void KWinBackend::global(wl_registry* registry, std::uint32_t name, const char* interface,
                         std::uint32_t version) {
    const std::string_view kind(interface);
    if (kind.starts_with("org_kde_kwin_") || kind.starts_with("org_kde_plasma_"))
        m_isKWin = true;
    if (kind == org_kde_kwin_fake_input_interface.name && version >= fakeInputVersion) {
        m_fakeInput = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, fakeInputVersion));
        m_fakeInputName = name;
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
    } else if (kind == zwlr_data_control_manager_v1_interface.name) {
        m_dataControl = static_cast<zwlr_data_control_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_data_control_manager_v1_interface, 1));
    } else if (kind == wl_seat_interface.name && !m_seat) {
        m_seat = static_cast<wl_seat*>(
            wl_registry_bind(registry, name, &wl_seat_interface, std::min(version, 4u)));
        wl_seat_add_listener(m_seat, &seatListener, this);
    }
}

void KWinBackend::watchLogicalGeometry(Output& output) {
    if (!m_outputManager || output.logical)
        return;
    output.logical = zxdg_output_manager_v1_get_xdg_output(m_outputManager, output.output);
    zxdg_output_v1_add_listener(output.logical, &logicalOutputListener, &output);
}

void KWinBackend::globalRemoved(std::uint32_t name) {
    if (name == m_fakeInputName && m_fakeInput) {
        lose("KWin withdrew its fake-input protocol");
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

const wl_registry_listener KWinBackend::registryListener = {
    [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
       std::uint32_t version) {
        static_cast<KWinBackend*>(data)->global(registry, name, interface, version);
    },
    [](void* data, wl_registry*, std::uint32_t name) {
        static_cast<KWinBackend*>(data)->globalRemoved(name);
    },
};

const wl_output_listener KWinBackend::outputListener = {
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

const zxdg_output_v1_listener KWinBackend::logicalOutputListener = {
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

const wl_seat_listener KWinBackend::seatListener = {
    [](void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& backend = *static_cast<KWinBackend*>(data);
        if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !backend.m_keyboard) {
            backend.m_keyboard = wl_seat_get_keyboard(seat);
            wl_keyboard_add_listener(backend.m_keyboard, &keyboardListener, &backend);
        }
    },
    [](void*, wl_seat*, const char*) {},
};

// Only the keymap matters here: it is the layout the compositor turns our keys into characters
// with, sent again whenever the user switches layouts.
const wl_keyboard_listener KWinBackend::keyboardListener = {
    [](void* data, wl_keyboard*, std::uint32_t format, std::int32_t fd, std::uint32_t size) {
        auto& backend = *static_cast<KWinBackend*>(data);
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
            void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
            if (text != MAP_FAILED) {
                // The text ends with a NUL the size includes.
                if (auto layout = LayoutKeys::fromKeymapText(
                        std::string_view(static_cast<const char*>(text), size - 1)))
                    backend.m_layout = std::move(layout);
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

// Reads whatever the compositor sent; a broken connection means KWin is gone (restarted or
// crashed), and with it every key and button we held.
void KWinBackend::readEvents() {
    if (wl_display_dispatch(m_display) < 0)
        lose("The connection to KWin was lost");
}

void KWinBackend::lose(std::string reason) {
    m_reason = std::move(reason);
    m_held.clear();
    if (m_notifier)
        m_notifier->setEnabled(false);
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
    for (const std::uint32_t code : std::exchange(m_held, {}))
        press(code, false);
    wl_display_flush(m_display);
}

std::vector<DisplayRect> KWinBackend::displays() {
    std::vector<DisplayRect> rects;
    if (!canPost())
        return rects;
    for (const Output& output : m_outputs)
        if (const DisplayRect rect = output.rect(); rect.isUsable())
            rects.push_back(rect);
    return rects;
}

// KWin tells no client where the pointer is; this is where our own motion has left it, starting
// from the middle of the first display.
std::optional<TrackpadVector> KWinBackend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    if (!m_shadow) {
        const auto rects = displays();
        if (rects.empty())
            return std::nullopt;
        m_shadow = TrackpadVector{rects.front().x + rects.front().width / 2,
                                  rects.front().y + rects.front().height / 2};
    }
    return m_shadow;
}

void KWinBackend::post(std::function<void()> event) {
    if (m_route)
        m_route->post(std::move(event));
    else
        event();
}

// Motion is relative, so a pointer the user moved with a real mouse meanwhile is moved on from
// where it is, not pulled back to where we left it.
void KWinBackend::mouse(const MouseEvent& event) {
    if (!canPost() || !std::isfinite(event.position.x) || !std::isfinite(event.position.y))
        return;
    post([this, event] {
        if (!canPost())
            return;
        const TrackpadVector from = pointerLocation().value_or(event.position);
        const double dx = event.position.x - from.x;
        const double dy = event.position.y - from.y;
        if (dx != 0 || dy != 0)
            org_kde_kwin_fake_input_pointer_motion(m_fakeInput, wl_fixed_from_double(dx),
                                                   wl_fixed_from_double(dy));
        m_shadow = event.position;
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

// Modifiers down before the key and up after it; one already held (by a shortcut in progress)
// is left held.
void KWinBackend::type(const KeyStroke& stroke) {
    if (!canPost())
        return;
    std::vector<std::uint16_t> pressed;
    for (const std::uint16_t modifier : stroke.modifiers) {
        if (m_held.contains(modifier))
            continue;
        press(modifier, true);
        pressed.push_back(modifier);
    }
    press(stroke.key, true);
    press(stroke.key, false);
    for (auto modifier = pressed.rbegin(); modifier != pressed.rend(); ++modifier)
        press(*modifier, false);
}

// Ctrl with the key that types "v" in this keymap: programs match the shortcut by its character.
void KWinBackend::pressPaste() {
    const auto v = m_layout ? m_layout->strokeFor(U'v') : std::nullopt;
    type({{KEY_LEFTCTRL}, v ? v->key : std::uint16_t{KEY_V}});
    wl_display_flush(m_display);
}

// Each character as the keys of the compositor's keymap that type it; one the keymap lacks is
// pasted, where the clipboard can be set.
void KWinBackend::text(std::string_view character) {
    if (!canPost() || !isValidUtf8(character))
        return;
    char32_t previous = 0;
    for (std::size_t offset = 0; offset < character.size();) {
        const std::size_t start = offset;
        const char32_t codePoint = nextCodePoint(character, offset);
        // CR LF is one line break.
        const bool secondHalfOfLineBreak = previous == U'\r' && codePoint == U'\n';
        previous = codePoint;
        if (secondHalfOfLineBreak)
            continue;
        if (const auto stroke = m_layout ? m_layout->strokeFor(codePoint) : std::nullopt)
            post([this, stroke = *stroke] { type(stroke); });
        else if (m_route && codePoint >= 0x20)
            m_route->paste(character.substr(start, offset - start));
    }
    if (m_route)
        m_route->flush();
}

void KWinBackend::discardPendingText() {
    if (m_route)
        m_route->discardPendingText();
}

void KWinBackend::flush() {
    if (canPost() && wl_display_flush(m_display) < 0 && errno != EAGAIN)
        lose("The connection to KWin was lost");
}

} // namespace

std::unique_ptr<InputBackend> makeKWinBackend() {
    return std::make_unique<KWinBackend>();
}

} // namespace quillvane
