#include "X11Displays.h"

#include <string_view>

#include <X11/extensions/Xinerama.h>
#include <X11/extensions/Xrandr.h>

namespace quillvane {

// Recent Xwayland servers announce themselves with an extension; all of them name their RandR
// monitors "XWAYLAND0", "XWAYLAND1" and so on.
bool X11Displays::isXwayland(Display* display) {
    int opcode = 0;
    int eventBase = 0;
    int errorBase = 0;
    if (XQueryExtension(display, "XWAYLAND", &opcode, &eventBase, &errorBase))
        return true;
    int major = 0;
    int minor = 0;
    if (!XRRQueryExtension(display, &eventBase, &errorBase) ||
        !XRRQueryVersion(display, &major, &minor) || (major == 1 && minor < 5))
        return false;
    int count = 0;
    XRRMonitorInfo* monitors = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
    bool named = false;
    if (count > 0 && monitors[0].name != None) {
        char* name = XGetAtomName(display, monitors[0].name);
        named = name && std::string_view(name).starts_with("XWAYLAND");
        if (name)
            XFree(name);
    }
    if (monitors)
        XRRFreeMonitors(monitors);
    return named;
}

X11Displays::X11Displays(Display* display) : m_display(display) {
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!XRRQueryExtension(m_display, &eventBase, &errorBase) ||
        !XRRQueryVersion(m_display, &major, &minor) || major < 1 || (major == 1 && minor < 5))
        return;
    m_randrEventBase = eventBase;
    XRRSelectInput(m_display, DefaultRootWindow(m_display),
                   RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask);
}

// `mode` is XEventsQueued's: QueuedAlready reads nothing from the connection, QueuedAfterReading
// also takes what has arrived, without waiting.
void X11Displays::handleQueuedEvents(int mode) {
    while (XEventsQueued(m_display, mode) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        if (m_randrEventBase && (event.type == *m_randrEventBase + RRScreenChangeNotify ||
                                 event.type == *m_randrEventBase + RRNotify)) {
            XRRUpdateConfiguration(&event);
            m_displays.reset();
        }
    }
}

// Needed for every move: the cached list costs one non-blocking read for change events, where
// asking the server would cost two round trips.
const std::vector<DisplayRect>& X11Displays::layout() {
    handleQueuedEvents(QueuedAfterReading);
    if (!m_displays)
        m_displays = queryDisplays();
    return *m_displays;
}

std::vector<DisplayRect> X11Displays::queryDisplays() {
    std::vector<DisplayRect> monitors;
    if (m_randrEventBase) {
        int count = 0;
        XRRMonitorInfo* list =
            XRRGetMonitors(m_display, DefaultRootWindow(m_display), True, &count);
        for (int i = 0; i < count; ++i)
            monitors.push_back({static_cast<double>(list[i].x), static_cast<double>(list[i].y),
                                static_cast<double>(list[i].width),
                                static_cast<double>(list[i].height)});
        if (list)
            XRRFreeMonitors(list);
    }
    std::vector<DisplayRect> heads;
    if (XineramaIsActive(m_display)) {
        int count = 0;
        XineramaScreenInfo* list = XineramaQueryScreens(m_display, &count);
        for (int i = 0; i < count; ++i)
            heads.push_back({static_cast<double>(list[i].x_org), static_cast<double>(list[i].y_org),
                             static_cast<double>(list[i].width),
                             static_cast<double>(list[i].height)});
        if (list)
            XFree(list);
    }
    // Where Xinerama is not built on RandR (nested servers, some drivers), RandR knows only one
    // screen while Xinerama knows every head; the longer list is the true one.
    m_headsAreScreens = heads.size() > monitors.size() && heads.size() > 1;
    if (m_headsAreScreens)
        return heads;
    if (!monitors.empty())
        return monitors;
    const int screen = DefaultScreen(m_display);
    return {{0, 0, static_cast<double>(DisplayWidth(m_display, screen)),
             static_cast<double>(DisplayHeight(m_display, screen))}};
}

} // namespace quillvane
