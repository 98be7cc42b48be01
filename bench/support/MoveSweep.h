#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace quillvane::bench {

// What the input latency benchmarks share: moves sent at a steady rate and matched, one by one,
// with the motions a witness stamped.
struct MoveSweep {
    // One motion as a witness saw it: where, and when (steady clock, nanoseconds).
    struct Motion {
        std::int64_t at = 0;
        int x = 0;
        int y = 0;
    };
    struct Run {
        std::vector<double> latencies; // milliseconds, counted moves only
        int unmatched = 0;
    };

    // Now on the steady clock (CLOCK_MONOTONIC), in nanoseconds: the clock of every stamp here.
    static std::int64_t now();

    // Calls `post(i)` for moves 0 to count - 1 at `perSecond`, from the event loop, so heartbeats
    // and socket writes go on in between. A late wake-up posts every move that fell due, as a
    // phone's queued touches would.
    static void pace(int count, double perSecond, const std::function<void(int)>& post);

    // Pairs move i, sent at sentAt[i] to pixel (xs[i], y), with the first later motion at that
    // pixel, looking at most `window` motions on from the last match (should one go missing);
    // moves in a row with the same pixel share its motion. The first `warmup` moves are matched
    // but not counted.
    static Run match(const std::vector<int>& xs, int y, const std::vector<std::int64_t>& sentAt,
                     const std::vector<Motion>& motions, int warmup, std::size_t window = 16);
};

} // namespace quillvane::bench
