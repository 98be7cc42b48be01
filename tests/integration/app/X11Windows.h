#pragma once

#include <string>

namespace quillvane::testing_support {

// The test X server's top-level windows, seen as a window manager sees them. (Xlib stays out of
// this header: its macros break Qt's and GoogleTest's.)

// Whether a window with this title is mapped and viewable on the screen.
bool windowShown(const std::string& title);

// Asks the window with this title to close, as a window manager's close button does
// (WM_DELETE_WINDOW); false when there is no such window.
bool closeWindow(const std::string& title);

// Whether a viewable window of this WM_CLASS instance sits inside another program's top-level
// window, as an XEmbed tray icon does once the tray has embedded it.
bool embeddedInOtherWindow(const std::string& instance);

} // namespace quillvane::testing_support
