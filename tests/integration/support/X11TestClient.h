#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "integration/support/HeldInput.h"

// Xlib's own header defines macros (Bool, Status, None) that break Qt and GoogleTest headers
// included after it, so this header names its types without it.
struct _XDisplay;

namespace quillvane::testing_support {

// A key or button event as the test window received it. Keys are translated on arrival, with the
// keymap the server had then, as a toolkit does.
struct WindowEvent {
    int type = 0;             // KeyPress, KeyRelease, ButtonPress or ButtonRelease
    unsigned long keysym = 0; // a KeySym; 0 is NoSymbol
    unsigned int button = 0;
    unsigned long time = 0;   // the server's time of a button event, in milliseconds

    // "+Shift_L", "-Z", "+button1": press or release and what was pressed, for readable checks.
    std::string describe() const;
};

// A client of the test X server beside the code under test: a focused window that reports keys
// and buttons, and the server's own view of the pointer, the keys held and the keymap.
class X11TestClient {
public:
    X11TestClient();
    ~X11TestClient();

    X11TestClient(const X11TestClient&) = delete;
    X11TestClient& operator=(const X11TestClient&) = delete;

    bool isOpen() const { return m_display != nullptr; }

    // Maps a window at (x, y) on the root, waits until it shows and gives it the keyboard focus.
    void openWindow(int x, int y, unsigned int width, unsigned int height);

    void warpPointer(int x, int y);
    // Waits until the pointer is at (x, y) with exactly `buttons` (Button1Mask, Button3Mask) held.
    bool pointerReaches(int x, int y, unsigned int buttons, int timeoutMs = 3000) const;
    // Waits until the pointer's position and held buttons satisfy `condition`.
    bool pointerSatisfies(const std::function<bool(int x, int y, unsigned int buttons)>& condition,
                          int timeoutMs = 3000) const;
    // The buttons and keys the server has down now.
    HeldInput held() const;
    bool nothingHeld() const { return held() == HeldInput{}; }
    std::vector<unsigned long> keymap() const;

    // Reads the window's events in order until `count` have come or the time is up.
    std::vector<WindowEvent> events(std::size_t count, int timeoutMs = 3000);
    // The same, as describe() texts.
    std::vector<std::string> described(std::size_t count, int timeoutMs = 3000);

private:
    _XDisplay* m_display = nullptr;
    unsigned long m_window = 0;
};

} // namespace quillvane::testing_support
