#include "WaylandSession.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <wayland-client.h>

#include <QSocketNotifier>

#include "DataControlClipboard.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"
#include "xdg-output-unstable-v1-client-protocol.h"

namespace quillvane {

struct WaylandSession::Output {
    std::uint32_t name = 0;
    wl_output* output = nullptr;
    zxdg_output_v1* logical = nullptr;
    // From wl_output: the position in the compositor's space, the current mode in pixels, the
    // scale; from xdg-output, where the compositor has it, the logical rectangle itself.
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

struct WaylandSessionListeners {
    using Output = WaylandSession::Output;

    static constexpr wl_registry_listener registry{
        [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
           std::uint32_t version) {
            static_cast<WaylandSession*>(data)->announce(registry, name, interface, version);
        },
        [](void* data, wl_registry*, std::uint32_t name) {
            static_cast<WaylandSession*>(data)->withdraw(name);
        },
    };

    static constexpr wl_output_listener output{
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

    static constexpr zxdg_output_v1_listener logicalOutput{
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

    // Only the keymap matters: it is the layout the compositor turns our keys into characters
    // with, sent again whenever the user switches layouts.
    static constexpr wl_keyboard_listener keyboard{
        [](void* data, wl_keyboard*, std::uint32_t format, std::int32_t fd, std::uint32_t size) {
            auto& session = *static_cast<WaylandSession*>(data);
            if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
                void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
                if (text != MAP_FAILED) {
                    // The text ends with a NUL that the size counts.
                    const std::string_view keymap(static_cast<const char*>(text), size - 1);
                    if (auto layout = LayoutKeys::fromKeymapText(keymap)) {
                        session.m_layout = std::move(layout);
                        session.m_keymapText = keymap;
                    }
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

    static constexpr wl_seat_listener seat{
        [](void* data, wl_seat* seat, std::uint32_t capabilities) {
            auto& session = *static_cast<WaylandSession*>(data);
            if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !session.m_keyboard) {
                session.m_keyboard = wl_seat_get_keyboard(seat);
                wl_keyboard_add_listener(session.m_keyboard, &keyboard, &session);
            }
        },
        [](void*, wl_seat*, const char*) {},
    };
};

std::unique_ptr<WaylandSession> WaylandSession::connect(std::string& reason) {
    const char* socket = std::getenv("WAYLAND_DISPLAY");
    if (!socket || !*socket) {
        reason = "未设置 WAYLAND_DISPLAY，没有可以接收输入的 Wayland 混成器";
        return nullptr;
    }
    std::unique_ptr<WaylandSession> session(new WaylandSession);
    session->m_display = wl_display_connect(nullptr);
    if (!session->m_display) {
        reason = std::string("无法连接 Wayland 混成器（") + socket + "）";
        return nullptr;
    }
    session->m_registry = wl_display_get_registry(session->m_display);
    wl_registry_add_listener(session->m_registry, &WaylandSessionListeners::registry, session.get());
    // The first round trip lists the globals, the second brings what binding them sent: output
    // geometry, the keymap.
    wl_display_roundtrip(session->m_display);
    wl_display_roundtrip(session->m_display);
    if (session->m_dataControl && session->m_seat)
        session->m_clipboard = std::make_unique<DataControlClipboard>(
            session->m_display, session->m_dataControl, session->m_seat);
    session->m_notifier = std::make_unique<QSocketNotifier>(
        wl_display_get_fd(session->m_display), QSocketNotifier::Read);
    QObject::connect(session->m_notifier.get(), &QSocketNotifier::activated,
                     session->m_notifier.get(), [raw = session.get()] { raw->readEvents(); });
    return session;
}

WaylandSession::~WaylandSession() {
    if (!m_display)
        return; // the connection never came about
    m_notifier.reset();
    m_clipboard.reset();
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
    if (m_registry)
        wl_registry_destroy(m_registry);
    wl_display_flush(m_display);
    wl_display_disconnect(m_display);
}

void WaylandSession::announce(wl_registry* registry, std::uint32_t name, const char* interface,
                              std::uint32_t version) {
    m_globals[name] = {interface, version, false};
    const std::string_view kind(interface);
    if (kind == wl_output_interface.name) {
        Output& output = m_outputs.emplace_back();
        output.name = name;
        output.output = static_cast<wl_output*>(
            wl_registry_bind(registry, name, &wl_output_interface, std::min(version, 2u)));
        wl_output_add_listener(output.output, &WaylandSessionListeners::output, &output);
        watchLogicalGeometry(output);
    } else if (kind == zxdg_output_manager_v1_interface.name && !m_outputManager) {
        m_outputManager = static_cast<zxdg_output_manager_v1*>(wl_registry_bind(
            registry, name, &zxdg_output_manager_v1_interface, std::min(version, 2u)));
        for (Output& output : m_outputs)
            watchLogicalGeometry(output);
    } else if (kind == wl_seat_interface.name && !m_seat) {
        m_globals[name].bound = true;
        m_seat = static_cast<wl_seat*>(
            wl_registry_bind(registry, name, &wl_seat_interface, std::min(version, 4u)));
        wl_seat_add_listener(m_seat, &WaylandSessionListeners::seat, this);
    } else if (kind == zwlr_data_control_manager_v1_interface.name && !m_dataControl) {
        m_dataControl = static_cast<zwlr_data_control_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_data_control_manager_v1_interface, 1));
    }
}

void WaylandSession::watchLogicalGeometry(Output& output) {
    if (!m_outputManager || output.logical)
        return;
    output.logical = zxdg_output_manager_v1_get_xdg_output(m_outputManager, output.output);
    zxdg_output_v1_add_listener(output.logical, &WaylandSessionListeners::logicalOutput, &output);
}

void WaylandSession::withdraw(std::uint32_t name) {
    const auto global = m_globals.find(name);
    if (global == m_globals.end())
        return;
    const Global withdrawn = std::move(global->second);
    m_globals.erase(global);
    if (withdrawn.bound) {
        lose("混成器撤下了接口（" + withdrawn.interface + "）");
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

bool WaylandSession::offers(std::string_view interface) const {
    return std::any_of(m_globals.begin(), m_globals.end(),
                       [&](const auto& global) { return global.second.interface == interface; });
}

bool WaylandSession::offersAnyWithPrefix(std::string_view prefix) const {
    return std::any_of(m_globals.begin(), m_globals.end(), [&](const auto& global) {
        return std::string_view(global.second.interface).starts_with(prefix);
    });
}

void* WaylandSession::bind(const wl_interface& interface, std::uint32_t version) {
    for (auto& [name, global] : m_globals) {
        if (global.interface != interface.name || global.version < version)
            continue;
        global.bound = true;
        return wl_registry_bind(m_registry, name, &interface, version);
    }
    return nullptr;
}

std::vector<DisplayRect> WaylandSession::displays() const {
    std::vector<DisplayRect> rects;
    for (const Output& output : m_outputs)
        if (const DisplayRect rect = output.rect(); rect.isUsable())
            rects.push_back(rect);
    return rects;
}

PasteClipboard* WaylandSession::clipboard() const {
    return m_clipboard.get();
}

// Reads whatever the compositor sent; a broken connection means it is gone (restarted or
// crashed), and with it whatever our devices held.
void WaylandSession::readEvents() {
    if (wl_display_dispatch(m_display) < 0)
        lose("与混成器的连接已断开");
}

bool WaylandSession::flush() {
    if (m_isLost)
        return false;
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN) {
        lose("与混成器的连接已断开");
        return false;
    }
    return true;
}

bool WaylandSession::settle(int limitMs) {
    if (m_isLost)
        return false;
    bool answered = false;
    static constexpr wl_callback_listener done{
        [](void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; },
    };
    wl_callback* callback = wl_display_sync(m_display);
    wl_callback_add_listener(callback, &done, &answered);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (!answered) {
        if (wl_display_flush(m_display) < 0 && errno != EAGAIN)
            break;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{wl_display_get_fd(m_display), POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) <= 0 ||
            wl_display_dispatch(m_display) < 0)
            break;
    }
    wl_callback_destroy(callback);
    return answered;
}

void WaylandSession::lose(std::string why) {
    if (m_isLost)
        return;
    m_isLost = true;
    if (m_notifier)
        m_notifier->setEnabled(false);
    if (m_lost)
        m_lost(std::move(why));
}

} // namespace quillvane
