#pragma once

#include <chrono>
#include <functional>

namespace quillvane::testing_support {

// Runs the event loop until `done` holds or `limit` has passed; returns the last verdict. `done`
// is checked after every pass of the loop, so a condition a callback sets ends the wait at once;
// the loop also wakes every 20 ms, so a condition read from outside (another process, the X
// server) is seen as soon as it holds. Between those the loop sleeps.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);
inline bool waitUntil(const std::function<bool()>& done, int limitMs = 10'000) {
    return waitUntil(done, std::chrono::milliseconds(limitMs));
}

// Runs the event loop for `duration`, or until `stop` holds; true when the whole time passed.
inline bool runFor(std::chrono::milliseconds duration, const std::function<bool()>& stop = {}) {
    return !waitUntil([&] { return stop && stop(); }, duration);
}

} // namespace quillvane::testing_support
