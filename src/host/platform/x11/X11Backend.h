#pragma once

#include <memory>

#include "InputBackend.h"

namespace quillvane {

// The X11 input backend, on the display that DISPLAY names: XTest posts pointer, wheel and key
// events as a real device would, RandR monitors (or Xinerama heads) describe the displays, and
// characters outside the layout are typed on spare key codes. It always returns a backend; one
// that cannot post (no display, no XTEST, an Xwayland server) says why in unavailableReason().
std::unique_ptr<InputBackend> makeX11Backend();

} // namespace quillvane
