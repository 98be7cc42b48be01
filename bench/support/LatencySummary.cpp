#include "LatencySummary.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quillvane::bench {
namespace {

// The smallest value with at least `fraction` of the set at or below it.
double percentile(const std::vector<double>& sorted, double fraction) {
    const auto rank =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

} // namespace

LatencySummary LatencySummary::of(std::vector<double> milliseconds) {
    LatencySummary summary;
    if (milliseconds.empty())
        return summary;
    std::sort(milliseconds.begin(), milliseconds.end());
    summary.count = milliseconds.size();
    summary.p50 = percentile(milliseconds, 0.50);
    summary.p99 = percentile(milliseconds, 0.99);
    summary.p999 = percentile(milliseconds, 0.999);
    summary.mean = std::accumulate(milliseconds.begin(), milliseconds.end(), 0.0) /
                   static_cast<double>(milliseconds.size());
    summary.max = milliseconds.back();
    return summary;
}

} // namespace quillvane::bench
