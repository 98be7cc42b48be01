#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QProcess>

#include "integration/support/HeldInput.h"

namespace quillvane::testing_support {

// One event as wev printed it: "[16:      wl_pointer] button: serial: 11; ...; state: 1 (pressed)"
// becomes interface "wl_pointer", name "button" and the rest in `fields`; a key event's second line
// (its keysym and text) is appended to its fields.
struct WevEvent {
    long long object = 0; // server-made objects are numbered from 0xff000000
    std::string interface;
    std::string name;
    std::string fields;

    // The number after "<label>: " in the fields, e.g. number("key") or number("state").
    std::optional<double> number(const std::string& label) const;
    // A pointer event's surface position ("x, y: 329.000000, 244.000000").
    std::optional<std::pair<double, double>> position() const;
    // The text typed by a key press ("utf8: 'a'"), empty for keys that type none.
    std::string utf8() const;
};

// wev, the plain Wayland client that prints every event it receives, as an independent witness of
// what a compositor delivers to an application: a focused window on the compositor whose socket
// is given. When the seat's devices change, wev makes a second pointer or keyboard without
// dropping the first, so every event arrives twice; only the events of the objects that received
// the latest "enter" are kept.
class WevRecorder {
public:
    explicit WevRecorder(const std::string& waylandSocket);
    ~WevRecorder();

    // Runs the event loop until wev reports `condition` over its events, or the time is up.
    bool waitFor(const std::function<bool(const std::vector<WevEvent>&)>& condition,
                 int timeoutMs = 10000);
    bool waitForKeyboardFocus() {
        return waitFor([](const auto& events) { return hasEvent(events, "wl_keyboard", "enter"); });
    }

    // The kept events so far, and a fresh start for the next check.
    std::vector<WevEvent> events();
    void clear();

    static bool hasEvent(const std::vector<WevEvent>& events, const std::string& interface,
                         const std::string& name);

private:
    void readOutput();

    std::unique_ptr<QProcess> m_process;
    std::string m_partial;
    std::vector<WevEvent> m_all;
    std::size_t m_clearedUpTo = 0;
};

// The events of one name ("motion", "button"), in order.
std::vector<WevEvent> named(const std::vector<WevEvent>& events, const std::string& name);
// "+125" for a press of evdev key 125, "-125" for its release (wev shows XKB codes, evdev + 8).
std::vector<std::string> keyChanges(const std::vector<WevEvent>& events);
// The state of each button event in order: 1 pressed, 0 released.
std::vector<int> buttonStates(const std::vector<WevEvent>& events);
// The buttons and keys that `events` leave pressed.
HeldInput heldAfter(const std::vector<WevEvent>& events);
// What wev saw, one event a line, for failure messages.
std::string described(const std::vector<WevEvent>& events);

} // namespace quillvane::testing_support
