#include "PointerMoveQueue.h"

#include <algorithm>
#include <cmath>

#include "pointer/TrackpadMoveBatch.h"

namespace quillvane {

namespace {

constexpr double limit = TrackpadMoveBatch::maximumDelta;
constexpr double quantum = 1.0 / 256;

// `value` plus what was carried, in whole quanta; the rest is carried on.
double quantized(double value, double& carry) {
    const double total = value + carry;
    const double whole = std::round(total / quantum) * quantum;
    carry = total - whole;
    return whole;
}

// The part of `delta` that keeps both it and `sum + delta` within the message limit (clamped
// once more after the subtraction, whose rounding may step an ulp past it).
double fitted(double sum, double delta) {
    delta = std::clamp(delta, -limit, limit);
    return std::clamp(std::clamp(sum + delta, -limit, limit) - sum, -limit, limit);
}

} // namespace

void PointerMoveQueue::add(TrackpadVector delta, double time) {
    if (!std::isfinite(delta.x) || !std::isfinite(delta.y))
        return;
    m_newest = time;
    delta = {fitted(m_sum.x, quantized(std::clamp(delta.x, -limit, limit), m_carry.x)),
             fitted(m_sum.y, quantized(std::clamp(delta.y, -limit, limit), m_carry.y))};
    m_sum.x += delta.x;
    m_sum.y += delta.y;
    if (m_pending.size() < TrackpadMoveBatch::maximumSamples) {
        m_pending.push_back(delta);
        return;
    }
    // A full queue folds the delta into its last sample, which keeps within the limit as well.
    TrackpadVector& last = m_pending.back();
    const TrackpadVector merged{std::clamp(last.x + delta.x, -limit, limit),
                                std::clamp(last.y + delta.y, -limit, limit)};
    m_sum.x += merged.x - last.x - delta.x;
    m_sum.y += merged.y - last.y - delta.y;
    last = merged;
}

void PointerMoveQueue::flushDue(double time, std::vector<WireMessage>& out) {
    if (!m_pending.empty() && frameDue(m_lastSent, time))
        flush(out);
}

void PointerMoveQueue::flush(std::vector<WireMessage>& out) {
    if (m_pending.empty())
        return;
    for (auto& message : TrackpadMoveBatch::messages(m_pending))
        out.push_back(std::move(message));
    m_lastSent = m_newest;
    clear();
}

void PointerMoveQueue::clear() {
    m_pending.clear();
    m_sum = {};
}

} // namespace quillvane
