#pragma once

#include <memory>

#include "InputBackend.h"

namespace quillvane {

// The KDE Plasma input backend: KWin's fake-input protocol (org_kde_kwin_fake_input) on the
// session's Wayland socket. KWin offers it only to a program whose installed desktop entry asks for
// it (X-KDE-Wayland-Interfaces, with Exec naming the program's path), so a Quillvane started from a
// terminal is refused and told to start from the entry. Relative motion from wherever the pointer is,
// buttons, pixel scrolling, keys, and text through the keys of the compositor's own keymap. It
// always returns a backend; one that cannot post says why.
std::unique_ptr<InputBackend> makeKWinBackend();

} // namespace quillvane
