#pragma once

#include <cstdint>
#include <optional>

namespace quillvane {

// The Linux input key (evdev code, as in <linux/input-event-codes.h>) found at the position of a
// Mac virtual key code on a Mac keyboard, so that a key keeps its place whatever the layout: the
// Mac's A key (0) is the key right of Caps Lock, which a French layout calls Q. Codes that name no
// key of a Mac keyboard, and Fn (63), which never reaches the system as a key, have none.
std::optional<std::uint16_t> evdevKeyForMacKey(std::uint16_t macKeyCode);

} // namespace quillvane
