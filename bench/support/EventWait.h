#pragma once

#include <chrono>
#include <functional>

namespace quillvane::bench {

// Runs the event loop until `done` holds or `limit` has passed; true when `done` held. `done` is
// checked before waiting and after every pass of the loop, so a condition set by a callback ends
// the wait at once. Sleeps while nothing happens: a waiting benchmark costs the machine nothing.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);

// Runs the event loop for `duration`, or until `stop` holds; true when the whole time passed.
bool runFor(std::chrono::milliseconds duration, const std::function<bool()>& stop);

} // namespace quillvane::bench
