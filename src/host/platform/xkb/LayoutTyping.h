#pragma once

#include <functional>
#include <string_view>

#include "LayoutKeys.h"

namespace quillvane {

// Walks a text (UTF-8) for a backend that types through the desktop's keymap: each character the
// layout has a key for is handed to `type` as its stroke, every other printable one to `paste`;
// CR LF counts as one line break, and control characters without a key are dropped. Without a
// layout, everything printable is pasted.
void routeText(std::string_view text, const LayoutKeys* layout,
               const std::function<void(const KeyStroke&)>& type,
               const std::function<void(std::string_view)>& paste);

} // namespace quillvane
