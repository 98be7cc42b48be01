#pragma once

#include <string>
#include <string_view>

namespace quillvane {

// The Qt platforms to try, in order, for a session whose DISPLAY, WAYLAND_DISPLAY and
// XDG_SESSION_TYPE are given (empty when unset), as QT_QPA_PLATFORM takes them: Qt uses the first
// that can reach its display, so a refused display falls back to the other, and the list always
// ends with the offscreen platform, on which the program runs headless.
//
// A Wayland session prefers Wayland, also where X is there too (XWayland): the window is then drawn
// at the output's scale. wlroots compositors and KWin draw its frame (xdg-decoration); on GNOME
// Qt draws its own title bar, which is the price: under XWayland Mutter gives the window GNOME's
// frame, but at scale 2 it shows an X window at half its size, texts and code at 1x.
std::string qtPlatformList(std::string_view display, std::string_view waylandDisplay,
                           std::string_view sessionType);

} // namespace quillvane
