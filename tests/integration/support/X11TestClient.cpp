#include "X11TestClient.h"

#include <algorithm>
#include <iterator>

#include "integration/IntegrationTest.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace quillvane::testing_support {

std::string WindowEvent::describe() const {
    const bool press = type == KeyPress || type == ButtonPress;
    std::string name;
    if (type == ButtonPress || type == ButtonRelease) {
        name = "button" + std::to_string(button);
    } else {
        const char* keysymName = XKeysymToString(keysym);
        name = keysymName ? keysymName : "NoSymbol";
    }
    return (press ? "+" : "-") + name;
}

X11TestClient::X11TestClient() : m_display(XOpenDisplay(nullptr)) {
    if (!m_display)
        return;
    // As toolkits do: hear of keymap changes, so keys are translated with the mapping the server
    // has when the client gets round to them.
    XkbSelectEvents(m_display, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
}

X11TestClient::~X11TestClient() {
    if (!m_display)
        return;
    if (m_window)
        XDestroyWindow(m_display, m_window);
    XCloseDisplay(m_display);
}

void X11TestClient::openWindow(int x, int y, unsigned int width, unsigned int height) {
    m_window =
        XCreateSimpleWindow(m_display, DefaultRootWindow(m_display), x, y, width, height, 0, 0, 0);
    XSelectInput(m_display, m_window,
                 KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask |
                     StructureNotifyMask);
    XMapWindow(m_display, m_window);
    XEvent event;
    do
        XWindowEvent(m_display, m_window, StructureNotifyMask, &event);
    while (event.type != MapNotify);
    XSetInputFocus(m_display, m_window, RevertToPointerRoot, CurrentTime);
    XSync(m_display, False);
}

PointerState X11TestClient::pointer() const {
    Window root = 0;
    Window child = 0;
    PointerState state;
    int windowX = 0;
    int windowY = 0;
    XQueryPointer(m_display, DefaultRootWindow(m_display), &root, &child, &state.x, &state.y,
                  &windowX, &windowY, &state.mask);
    return state;
}

void X11TestClient::warpPointer(int x, int y) {
    XWarpPointer(m_display, None, DefaultRootWindow(m_display), 0, 0, 0, 0, x, y);
    XSync(m_display, False);
}

bool X11TestClient::pointerReaches(int x, int y, unsigned int buttons, int timeoutMs) const {
    return waitUntil(
        [&] {
            const PointerState state = pointer();
            return state.x == x && state.y == y &&
                   (state.mask & (Button1Mask | Button2Mask | Button3Mask)) == buttons;
        },
        timeoutMs);
}

bool X11TestClient::allKeysUp() const {
    char keys[32];
    XQueryKeymap(m_display, keys);
    return std::all_of(std::begin(keys), std::end(keys), [](char k) { return k == 0; });
}

bool X11TestClient::noButtonHeld() const {
    return (pointer().mask & (Button1Mask | Button2Mask | Button3Mask)) == 0;
}

std::vector<unsigned long> X11TestClient::keymap() const {
    int first = 0;
    int last = 0;
    XDisplayKeycodes(m_display, &first, &last);
    int perCode = 0;
    KeySym* keysyms =
        XGetKeyboardMapping(m_display, static_cast<KeyCode>(first), last - first + 1, &perCode);
    std::vector<unsigned long> all(keysyms, keysyms + (last - first + 1) * perCode);
    XFree(keysyms);
    return all;
}

std::vector<WindowEvent> X11TestClient::events(std::size_t count, int timeoutMs) {
    std::vector<WindowEvent> seen;
    waitUntil(
        [&] {
            while (seen.size() < count && XPending(m_display) > 0) {
                XEvent event;
                XNextEvent(m_display, &event);
                WindowEvent item{.type = event.type};
                if (event.type == KeyPress || event.type == KeyRelease) {
                    char buffer[16];
                    KeySym keysym = NoSymbol;
                    XLookupString(&event.xkey, buffer, sizeof buffer, &keysym, nullptr);
                    item.keysym = keysym;
                    item.state = event.xkey.state;
                    item.x = event.xkey.x_root;
                    item.y = event.xkey.y_root;
                    item.time = event.xkey.time;
                } else if (event.type == ButtonPress || event.type == ButtonRelease) {
                    item.button = event.xbutton.button;
                    item.state = event.xbutton.state;
                    item.x = event.xbutton.x_root;
                    item.y = event.xbutton.y_root;
                    item.time = event.xbutton.time;
                } else {
                    continue;
                }
                seen.push_back(item);
            }
            return seen.size() >= count;
        },
        timeoutMs);
    return seen;
}

std::vector<std::string> X11TestClient::described(std::size_t count, int timeoutMs) {
    std::vector<std::string> texts;
    for (const auto& event : events(count, timeoutMs))
        texts.push_back(event.describe());
    return texts;
}

char32_t codePointOf(unsigned long keysym) {
    if (keysym >= 0x01000100 && keysym <= 0x0110ffff)
        return static_cast<char32_t>(keysym - 0x01000000);
    return static_cast<char32_t>(keysym);
}

} // namespace quillvane::testing_support
