#pragma once

#include <vector>

#include "protocol/WireMessage.h"

namespace quillvane {

// A vibration the controller plays: `detent` is the light tick of each step of scroll travel,
// `start` the firmer one when a drag or a scroll takes hold.
enum class Haptic {
    detent,
    start,
};

// What a recogniser asks the controller to do: messages to send in order, and vibrations.
struct ControllerOutput {
    std::vector<WireMessage> messages;
    std::vector<Haptic> haptics;

    bool empty() const { return messages.empty() && haptics.empty(); }
    void clear() {
        messages.clear();
        haptics.clear();
    }
};

} // namespace quillvane
