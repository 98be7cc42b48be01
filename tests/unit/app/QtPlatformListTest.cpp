#include <gtest/gtest.h>

#include "QtPlatformList.h"

using quillvane::qtPlatformList;

// Qt takes the first platform of the list that reaches its display, so the order is the choice:
// a Wayland session's window goes to Wayland, a refused display falls back to the other one, and
// only when neither answers does the program run headless (offscreen).
TEST(QtPlatformList, waylandSessionsPreferWaylandAndEveryDisplayNamedIsAFallback) {
    EXPECT_EQ(qtPlatformList(":0", "", ""), "xcb;offscreen");
    EXPECT_EQ(qtPlatformList(":0", "", "x11"), "xcb;offscreen");
    EXPECT_EQ(qtPlatformList("", "wayland-1", ""), "wayland;offscreen");
    EXPECT_EQ(qtPlatformList(":0", "wayland-1", "wayland"), "wayland;xcb;offscreen");
    // GNOME sets the session type before its compositor exports WAYLAND_DISPLAY to every client.
    EXPECT_EQ(qtPlatformList(":0", "", "wayland"), "wayland;xcb;offscreen");
    EXPECT_EQ(qtPlatformList("", "", "tty"), "offscreen");
}
