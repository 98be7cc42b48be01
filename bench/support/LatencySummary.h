#pragma once

#include <cstddef>
#include <vector>

namespace quillvane::bench {

// Nearest-rank percentiles, mean and maximum of a set of durations in milliseconds.
struct LatencySummary {
    std::size_t count = 0;
    double p50 = 0;
    double p99 = 0;
    double p999 = 0;
    double mean = 0;
    double max = 0;

    static LatencySummary of(std::vector<double> milliseconds);
};

} // namespace quillvane::bench
