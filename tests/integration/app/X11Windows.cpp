#include "X11Windows.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <memory>

namespace quillvane::testing_support {
namespace {

using DisplayHandle = std::unique_ptr<Display, int (*)(Display*)>;

DisplayHandle openDisplay() { return DisplayHandle(XOpenDisplay(nullptr), XCloseDisplay); }

// The first child of the root whose WM_NAME is `title` and that is viewable when `viewable`.
Window findWindow(Display* display, const std::string& title, bool viewable) {
    Window root = 0, parent = 0, *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count))
        return 0;
    Window found = 0;
    for (unsigned int i = 0; i < count && !found; ++i) {
        char* name = nullptr;
        if (XFetchName(display, children[i], &name) && name) {
            XWindowAttributes attributes;
            if (title == name && XGetWindowAttributes(display, children[i], &attributes) &&
                (!viewable || attributes.map_state == IsViewable))
                found = children[i];
            XFree(name);
        }
    }
    if (children)
        XFree(children);
    return found;
}

std::string instanceOf(Display* display, Window window) {
    XClassHint hint{};
    if (!XGetClassHint(display, window, &hint))
        return {};
    std::string instance = hint.res_name ? hint.res_name : "";
    XFree(hint.res_name);
    XFree(hint.res_class);
    return instance;
}

// Walks the windows below `window`, which belongs to the top-level of instance `owner`.
bool findEmbedded(Display* display, Window window, const std::string& owner, const std::string& instance) {
    Window root = 0, parent = 0, *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, window, &root, &parent, &children, &count))
        return false;
    bool found = false;
    for (unsigned int i = 0; i < count && !found; ++i) {
        XWindowAttributes attributes;
        found = owner != instance && instanceOf(display, children[i]) == instance &&
                XGetWindowAttributes(display, children[i], &attributes) &&
                attributes.map_state == IsViewable;
        found = found || findEmbedded(display, children[i], owner, instance);
    }
    if (children)
        XFree(children);
    return found;
}

} // namespace

bool embeddedInOtherWindow(const std::string& instance) {
    const DisplayHandle display = openDisplay();
    if (!display)
        return false;
    Window root = 0, parent = 0, *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display.get(), DefaultRootWindow(display.get()), &root, &parent, &children, &count))
        return false;
    bool found = false;
    for (unsigned int i = 0; i < count && !found; ++i)
        found = findEmbedded(display.get(), children[i], instanceOf(display.get(), children[i]), instance);
    if (children)
        XFree(children);
    return found;
}

bool windowShown(const std::string& title) {
    const DisplayHandle display = openDisplay();
    return display && findWindow(display.get(), title, true) != 0;
}

bool closeWindow(const std::string& title) {
    const DisplayHandle display = openDisplay();
    if (!display)
        return false;
    const Window window = findWindow(display.get(), title, true);
    if (!window)
        return false;
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display.get(), "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display.get(), "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display.get(), window, False, NoEventMask, &event);
    XFlush(display.get());
    return true;
}

} // namespace quillvane::testing_support
