#pragma once

#include <memory>

#include "InputBackend.h"

namespace quillvane {

// The name of the virtual device, as the kernel, libinput and `libinput list-devices` show it.
inline constexpr const char* uinputDeviceName = "Quillvane virtual pointer and keyboard";

// The uinput input backend: one virtual pointer and keyboard device created through /dev/uinput
// (libevdev), for desktops that offer programs no input protocol (and consoles). The compositor
// reads it like any mouse and keyboard, so it works everywhere: the pointer moves on from
// wherever it is, by the desktop's own rules for a mouse (its acceleration setting included). It
// always returns a backend; one
// that cannot post (no /dev/uinput, not writable) says why and names the command that fixes it.
std::unique_ptr<InputBackend> makeUinputBackend();

} // namespace quillvane
