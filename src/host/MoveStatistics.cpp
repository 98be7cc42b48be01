#include "MoveStatistics.h"

#include <QLoggingCategory>

#include <algorithm>

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcTiming, "app.quillvane.InputTiming", QtInfoMsg)

// A gap longer than the pause starts a new period; one shorter than the burst counts as a burst.
constexpr double kPause = 0.2;
constexpr double kBurst = 0.002;
constexpr double kPeriod = 1.0;

} // namespace

void MoveStatistics::reset(double start) {
    m_start = start;
    m_count = m_burst = 0;
    m_maxGap = m_maxWork = 0;
}

void MoveStatistics::move(const std::vector<TrackpadVector>& samples) {
    const double start = m_uptime();
    const double gap = start - m_last;
    if (gap > kPause) {
        reset(start);
    } else {
        m_maxGap = std::max(m_maxGap, gap);
        if (gap < kBurst)
            ++m_burst;
    }
    m_last = start;
    ++m_count;

    m_input.move(samples);

    m_maxWork = std::max(m_maxWork, m_uptime() - start);
    if (start - m_start >= kPeriod) {
        qCInfo(lcTiming, "moves=%ld elapsed_ms=%f burst=%ld max_gap_ms=%f max_work_ms=%f",
               static_cast<long>(m_count), (start - m_start) * 1000, static_cast<long>(m_burst),
               m_maxGap * 1000, m_maxWork * 1000);
        reset(start);
    }
}

} // namespace quillvane
