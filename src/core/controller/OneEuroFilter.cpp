#include "OneEuroFilter.h"

#include <cmath>
#include <numbers>

namespace quillvane {

namespace {

// The smoothing factor of a first-order low-pass filter with cut-off `cutoff` at step `dt`.
double smoothing(double cutoff, double dt) {
    const double tau = 1 / (2 * std::numbers::pi * cutoff);
    return 1 / (1 + tau / dt);
}

} // namespace

double OneEuroFilter::filter(double value, double dt) {
    if (!m_value) {
        m_value = value;
        m_derivative = 0;
        return value;
    }
    const double rate = (value - *m_value) / dt;
    m_derivative += smoothing(m_derivativeCutoff, dt) * (rate - m_derivative);
    const double cutoff = m_minimumCutoff + m_beta * std::abs(m_derivative);
    *m_value += smoothing(cutoff, dt) * (value - *m_value);
    return *m_value;
}

} // namespace quillvane
