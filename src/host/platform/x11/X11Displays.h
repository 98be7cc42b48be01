#pragma once

#include <optional>
#include <vector>

#include <X11/Xlib.h>

#include "pointer/DisplayRect.h"

namespace quillvane {

// The heads of an X server, from RandR 1.5's monitors or Xinerama's screens, kept until RandR
// reports a change. The connection is the caller's.
class X11Displays {
public:
    explicit X11Displays(Display* display);

    static bool isXwayland(Display* display);

    // The heads, from the cache unless a change was reported since.
    const std::vector<DisplayRect>& layout();
    // Whether the heads are separate X screens joined by Xinerama (as of the last query).
    bool headsAreScreens() const { return m_headsAreScreens; }
    // Takes the server's queued events (XEventsQueued's `mode`), noting display changes.
    void handleQueuedEvents(int mode);

private:
    std::vector<DisplayRect> queryDisplays();

    Display* m_display;
    // RandR's first event number, when the server has RandR 1.5 (monitors).
    std::optional<int> m_randrEventBase;
    // Cleared when RandR reports a change; refilled by the next layout().
    std::optional<std::vector<DisplayRect>> m_displays;
    bool m_headsAreScreens = false;
};

} // namespace quillvane
