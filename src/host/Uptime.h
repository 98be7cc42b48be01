#pragma once

#include <chrono>

namespace quillvane {

// Seconds of the monotonic clock: the time every rule of the host is given. Never wall-clock time,
// which can jump.
inline double uptimeSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

} // namespace quillvane
