#include "X11TestClient.h"

#include <bit>

#include "integration/IntegrationTest.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace quillvane::testing_support {
namespace {

constexpr unsigned int buttonMasks = Button1Mask | Button2Mask | Button3Mask;

struct Pointer {
    int x = 0;
    int y = 0;
    unsigned int mask = 0;
};

Pointer queryPointer(Display* display) {
    Window root = 0;
    Window child = 0;
    Pointer pointer;
    int windowX = 0;
    int windowY = 0;
    XQueryPointer(display, DefaultRootWindow(display), &root, &child, &pointer.x, &pointer.y,
                  &windowX, &windowY, &pointer.mask);
    return pointer;
}

} // namespace

std::string WindowEvent::describe() const {
    const std::string sign = type == KeyPress || type == ButtonPress ? "+" : "-";
    if (type == ButtonPress || type == ButtonRelease)
        return sign + "button" + std::to_string(button);
    const char* name = XKeysymToString(keysym);
    return sign + (name ? name : "NoSymbol");
}

X11TestClient::X11TestClient() : m_display(XOpenDisplay(nullptr)) {
    if (!m_display)
        return;
    // As toolkits do: hear of keymap changes, so keys are translated with the mapping the server
    // has when the client gets round to them.
    XkbSelectEvents(m_display, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
}

// Closing the connection destroys the window too.
X11TestClient::~X11TestClient() {
    if (m_display)
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

void X11TestClient::warpPointer(int x, int y) {
    XWarpPointer(m_display, None, DefaultRootWindow(m_display), 0, 0, 0, 0, x, y);
    XSync(m_display, False);
}

bool X11TestClient::pointerReaches(int x, int y, unsigned int buttons, int timeoutMs) const {
    return pointerSatisfies(
        [&](int px, int py, unsigned int held) { return px == x && py == y && held == buttons; },
        timeoutMs);
}

bool X11TestClient::pointerSatisfies(
    const std::function<bool(int x, int y, unsigned int buttons)>& condition, int timeoutMs) const {
    return waitUntil(
        [&] {
            const Pointer pointer = queryPointer(m_display);
            return condition(pointer.x, pointer.y, pointer.mask & buttonMasks);
        },
        timeoutMs);
}

HeldInput X11TestClient::held() const {
    char keys[32];
    XQueryKeymap(m_display, keys);
    HeldInput held{std::popcount(queryPointer(m_display).mask & buttonMasks), 0};
    for (const char bits : keys)
        held.keys += std::popcount(static_cast<unsigned char>(bits));
    return held;
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
                if (event.type == KeyPress || event.type == KeyRelease) {
                    char buffer[16];
                    KeySym keysym = NoSymbol;
                    XLookupString(&event.xkey, buffer, sizeof buffer, &keysym, nullptr);
                    seen.push_back({.type = event.type, .keysym = keysym});
                } else if (event.type == ButtonPress || event.type == ButtonRelease) {
                    seen.push_back({.type = event.type, .button = event.xbutton.button, .time = event.xbutton.time});
                }
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

} // namespace quillvane::testing_support
