#pragma once

#include <optional>

namespace quillvane {

// The 1€ filter (Casiez, Roussel and Vogel, CHI 2012): a low-pass filter whose cut-off rises
// with the signal's rate of change, so a still hand's tremor is smoothed away while a quick
// turn passes with little lag.
class OneEuroFilter {
public:
    // `minimumCutoff` (Hz) sets the smoothing at rest, `beta` how fast the cut-off opens with
    // speed, `derivativeCutoff` (Hz) the smoothing of the speed estimate itself.
    OneEuroFilter(double minimumCutoff, double beta, double derivativeCutoff)
        : m_minimumCutoff(minimumCutoff), m_beta(beta), m_derivativeCutoff(derivativeCutoff) {}

    // The filtered value of sample `value` taken `dt` seconds after the previous one (> 0).
    double filter(double value, double dt);
    void reset() { m_value.reset(); }

private:
    double m_minimumCutoff;
    double m_beta;
    double m_derivativeCutoff;
    std::optional<double> m_value;
    double m_derivative = 0;
};

} // namespace quillvane
