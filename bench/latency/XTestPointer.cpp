#include "XTestPointer.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace quillvane::bench {

XTestPointer::~XTestPointer() {
    if (m_display)
        XCloseDisplay(m_display);
}

bool XTestPointer::open(std::string& error) {
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        error = "cannot open the X display";
        return false;
    }
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!XTestQueryExtension(m_display, &eventBase, &errorBase, &major, &minor)) {
        error = "the X server has no XTEST extension";
        return false;
    }
    return true;
}

int XTestPointer::screenWidth() const {
    return DisplayWidth(m_display, DefaultScreen(m_display));
}

int XTestPointer::screenHeight() const {
    return DisplayHeight(m_display, DefaultScreen(m_display));
}

void XTestPointer::warp(int x, int y) {
    XWarpPointer(m_display, None, DefaultRootWindow(m_display), 0, 0, 0, 0, x, y);
    XSync(m_display, False);
}

void XTestPointer::post(int x, int y) {
    XTestFakeMotionEvent(m_display, -1, x, y, CurrentTime);
    XFlush(m_display);
}

} // namespace quillvane::bench
