#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/xkb/LayoutKeys.h"
#include "pointer/DisplayRect.h"

struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_seat;
struct wl_keyboard;
struct zxdg_output_manager_v1;
struct zwlr_data_control_manager_v1;
class QSocketNotifier;

namespace quillvane {

class DataControlClipboard;
class PasteClipboard;

// A program's connection to the session's Wayland compositor, with what every input backend on it
// needs: the globals it offers, its outputs as displays (logical geometry), the keymap it turns
// keys into characters with, and its clipboard where it lets a program without a window set it.
// Events are read from the Qt event loop; a broken connection is reported once.
class WaylandSession {
public:
    // Connects to WAYLAND_DISPLAY and reads what the compositor offers; nullptr and `reason` when
    // there is no compositor to connect to.
    static std::unique_ptr<WaylandSession> connect(std::string& reason);
    ~WaylandSession();

    WaylandSession(const WaylandSession&) = delete;
    WaylandSession& operator=(const WaylandSession&) = delete;

    wl_display* display() const { return m_display; }
    bool offers(std::string_view interface) const;
    bool offersAnyWithPrefix(std::string_view prefix) const;
    // Binds the global of `interface` at `version` (nullptr when it is missing or older); losing
    // that global later counts as losing the session.
    void* bind(const wl_interface& interface, std::uint32_t version);

    std::vector<DisplayRect> displays() const;
    const std::optional<LayoutKeys>& layout() const { return m_layout; }
    // That keymap as the compositor sent it (XKB's text format); empty while the seat has no
    // keyboard.
    const std::string& keymapText() const { return m_keymapText; }
    // The first seat; losing it counts as losing the session.
    wl_seat* seat() const { return m_seat; }
    // nullptr where the compositor has no data-control protocol for us.
    PasteClipboard* clipboard() const;

    // Called once, from the event loop, when the compositor goes away or withdraws a bound
    // global; `why` says which.
    void setLostHandler(std::function<void(std::string why)> handler) { m_lost = std::move(handler); }
    bool isLost() const { return m_isLost; }
    // Sends what was posted; false once the connection is broken.
    bool flush();
    // Sends what was posted and waits, up to `limitMs`, until the compositor has handled it; false
    // when it did not answer in time or the connection broke.
    bool settle(int limitMs);

private:
    WaylandSession() = default;
    struct Global {
        std::string interface;
        std::uint32_t version = 0;
        bool bound = false;
    };
    struct Output;

    void announce(wl_registry* registry, std::uint32_t name, const char* interface,
                  std::uint32_t version);
    void withdraw(std::uint32_t name);
    void watchLogicalGeometry(Output& output);
    void readEvents();
    void lose(std::string why);

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    std::map<std::uint32_t, Global> m_globals;
    std::list<Output> m_outputs;
    zxdg_output_manager_v1* m_outputManager = nullptr;
    wl_seat* m_seat = nullptr;
    wl_keyboard* m_keyboard = nullptr;
    zwlr_data_control_manager_v1* m_dataControl = nullptr;
    std::unique_ptr<DataControlClipboard> m_clipboard;
    std::optional<LayoutKeys> m_layout;
    std::string m_keymapText;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::function<void(std::string)> m_lost;
    bool m_isLost = false;

    friend struct WaylandSessionListeners;
};

} // namespace quillvane
