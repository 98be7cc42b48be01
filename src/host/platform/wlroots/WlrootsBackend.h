#pragma once

#include <memory>

#include "InputBackend.h"

namespace quillvane {

// The input backend of the wlroots compositors (sway, Hyprland, labwc, river...): a virtual
// pointer and a virtual keyboard on the compositor that WAYLAND_DISPLAY names, no permission
// dialog. The pointer moves on from wherever it is, by relative motion; text
// is typed with a keymap of our own, uploaded for the characters and replaced by the real one
// afterwards. When the compositor goes away the backend says so, lets the controller know, and
// connects again once a compositor answers on the same socket. It always returns a backend; one
// that cannot post says why.
std::unique_ptr<InputBackend> makeWlrootsBackend();

} // namespace quillvane
