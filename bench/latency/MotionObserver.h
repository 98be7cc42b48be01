#pragma once

#include "MoveSweep.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct _XDisplay;

namespace quillvane::bench {

// Watches the pointer from a client of its own, on a thread of its own, and notes when each
// motion event reaches it: a borderless input-only window over the area the benchmark moves in
// (above every other window, so no desktop window takes the events first) reports every motion
// inside it, and each is stamped with the steady clock the moment it is read off the connection.
class MotionObserver {
public:
    using Motion = MoveSweep::Motion;

    struct Area {
        int x = 0;
        int y = 0;
        unsigned int width = 0;
        unsigned int height = 0;
    };

    MotionObserver() = default;
    ~MotionObserver();

    MotionObserver(const MotionObserver&) = delete;
    MotionObserver& operator=(const MotionObserver&) = delete;

    // Opens the connection, maps the window over `area` and starts watching; on failure `error`
    // says why.
    bool start(Area area, std::string& error);
    void stop();

    // The motions seen since the last call, oldest first.
    std::vector<Motion> take();
    // Whether the last motion seen was at (x, y).
    bool lastAt(int x, int y) const;

private:
    void watch();

    _XDisplay* m_display = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    std::vector<Motion> m_motions;
    std::atomic<std::int64_t> m_last{-1}; // x in the high half, y in the low half
};

} // namespace quillvane::bench
