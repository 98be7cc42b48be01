#include "MotionObserver.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <poll.h>

namespace quillvane::bench {
namespace {

// How long the watching thread sleeps between looks at the stop flag when no event comes.
constexpr int kStopCheckMs = 20;

std::int64_t packed(int x, int y) {
    return (static_cast<std::int64_t>(x) << 32) | static_cast<std::uint32_t>(y);
}

} // namespace

MotionObserver::~MotionObserver() {
    stop();
}

bool MotionObserver::start(Area area, std::string& error) {
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        error = "the motion observer cannot open the X display";
        return false;
    }
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    attributes.event_mask = PointerMotionMask | StructureNotifyMask;
    const Window window = XCreateWindow(
        m_display, DefaultRootWindow(m_display), area.x, area.y, area.width, area.height, 0,
        CopyFromParent, InputOnly, CopyFromParent, CWOverrideRedirect | CWEventMask, &attributes);
    XMapRaised(m_display, window);
    XEvent event;
    do
        XWindowEvent(m_display, window, StructureNotifyMask, &event);
    while (event.type != MapNotify);
    m_stop = false;
    m_thread = std::thread([this] { watch(); });
    return true;
}

void MotionObserver::stop() {
    if (m_thread.joinable()) {
        m_stop = true;
        m_thread.join();
    }
    if (m_display) {
        XCloseDisplay(m_display);
        m_display = nullptr;
    }
}

// Reads whatever has arrived before sleeping again, so a motion is stamped when it is read off
// the socket, not when a later one wakes the thread.
void MotionObserver::watch() {
    const int fd = ConnectionNumber(m_display);
    while (!m_stop) {
        while (XPending(m_display) > 0) {
            XEvent event;
            XNextEvent(m_display, &event);
            const std::int64_t now = MoveSweep::now();
            if (event.type != MotionNotify)
                continue;
            const Motion motion{now, event.xmotion.x_root, event.xmotion.y_root};
            {
                const std::lock_guard lock(m_mutex);
                m_motions.push_back(motion);
            }
            m_last = packed(motion.x, motion.y);
        }
        pollfd readable{fd, POLLIN, 0};
        ::poll(&readable, 1, kStopCheckMs);
    }
}

std::vector<MotionObserver::Motion> MotionObserver::take() {
    const std::lock_guard lock(m_mutex);
    std::vector<Motion> motions;
    motions.reserve(m_motions.capacity());
    motions.swap(m_motions);
    return motions;
}

bool MotionObserver::lastAt(int x, int y) const {
    return m_last == packed(x, y);
}

} // namespace quillvane::bench
