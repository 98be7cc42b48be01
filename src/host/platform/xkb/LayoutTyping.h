#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "LayoutKeys.h"

namespace quillvane {

// Walks a text (UTF-8) for a backend that types through the desktop's keymap: each character the
// layout has a key for is handed to `type` as its stroke, every other printable one to `paste`;
// CR LF counts as one line break, and control characters without a key are dropped. Without a
// layout, everything printable is pasted.
void routeText(std::string_view text, const LayoutKeys* layout,
               const std::function<void(const KeyStroke&)>& type,
               const std::function<void(std::string_view)>& paste);

class ClipboardTextRoute;

// routeText for a backend that pastes along `route` (none: what has no key is dropped): the
// strokes are posted through the route too, so that no key overtakes a paste before it.
void typeText(std::string_view text, const LayoutKeys* layout, ClipboardTextRoute* route,
              const std::function<void(const KeyStroke&)>& type);

// The key changes that type one stroke: modifiers down, the key down and up, the modifiers up in
// reverse. A modifier already held (by a shortcut in progress) is neither pressed nor released.
std::vector<std::pair<std::uint16_t, bool>>
strokeChanges(const KeyStroke& stroke, const std::function<bool(std::uint16_t)>& isHeld);

} // namespace quillvane
