#include "MoveSweep.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <QTimer>

#include "support/EventWait.h"

namespace quillvane::bench {

std::int64_t MoveSweep::now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

using namespace testing_support;

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

void MoveSweep::pace(int count, double perSecond, const std::function<void(int)>& post) {
    const Clock::time_point start = Clock::now();
    const auto due = [&](int i) {
        return start + std::chrono::nanoseconds(std::llround(i / perSecond * 1e9));
    };
    int sent = 0;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    const auto pump = [&] {
        while (sent < count && Clock::now() >= due(sent))
            post(sent++);
        if (sent < count)
            timer.start(std::max(
                std::chrono::ceil<std::chrono::milliseconds>(due(sent) - Clock::now()), 0ms));
    };
    QObject::connect(&timer, &QTimer::timeout, &timer, pump);
    pump();
    const auto length = std::chrono::milliseconds(std::llround(count / perSecond * 1000));
    waitUntil([&] { return sent == count; }, length + 30s);
}

MoveSweep::Run MoveSweep::match(const std::vector<int>& xs, int y,
                                const std::vector<std::int64_t>& sentAt,
                                const std::vector<Motion>& motions, int warmup,
                                std::size_t window) {
    Run run;
    std::size_t next = 0;
    for (std::size_t i = 0; i < xs.size(); ++i) {
        const std::size_t end = std::min(motions.size(), next + window);
        std::size_t found = next;
        while (found < end && (motions[found].x != xs[i] || motions[found].y != y))
            ++found;
        if (found == end || motions[found].at < sentAt[i]) {
            ++run.unmatched;
            continue;
        }
        // Moves carried by one message share its motion: the next may match the same one.
        next = found;
        if (i >= static_cast<std::size_t>(warmup))
            run.latencies.push_back(static_cast<double>(motions[found].at - sentAt[i]) / 1e6);
    }
    return run;
}

} // namespace quillvane::bench
