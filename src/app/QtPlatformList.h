#pragma once

#include <string>
#include <string_view>

namespace quillvane {

// The Qt platforms to try, in order, for a session whose DISPLAY, WAYLAND_DISPLAY and
// XDG_SESSION_TYPE are given (empty when unset), as QT_QPA_PLATFORM takes them: Qt uses the first
// that can reach its display, so a refused display falls back to the other, and the list always
// ends with the offscreen platform, on which the program runs headless.
//
// A Wayland session prefers Wayland, also where X is there too (XWayland): the window is then
// drawn at the output's scale instead of being scaled up by the compositor, which blurs the text
// and greys the QR code's edges; wlroots and KDE draw its frame (xdg-decoration), elsewhere Qt
// draws its own.
std::string qtPlatformList(std::string_view display, std::string_view waylandDisplay,
                           std::string_view sessionType);

} // namespace quillvane
