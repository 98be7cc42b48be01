#pragma once

#include <memory>

#include "InputBackend.h"

namespace quillvane {

// The input backend of GNOME on Wayland: a session of Mutter's remote desktop interface
// (org.gnome.Mutter.RemoteDesktop on the session bus), created when the backend opens and kept
// for its life, made again when Mutter restarts; no permission dialog. The pointer moves on from
// wherever it is, by relative motion. Characters the layout has are typed as keysyms; Mutter
// drops the others, so those are pasted through the session's clipboard, and the user's
// clipboard put back. It always returns a backend; one that cannot post says why.
std::unique_ptr<InputBackend> makeMutterBackend();

} // namespace quillvane
