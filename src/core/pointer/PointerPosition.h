#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "protocol/WireMessage.h"

namespace quillvane {

// Computer side: the point from which new pointer deltas are applied. The system reports the
// pointer location with a lag behind the events just posted, so this keeps the position it
// commanded plus a short trail of recently posted positions, and trusts a reported location only
// when it is not one of its own recent positions (the user moved a real mouse) or after a quiet
// spell.
class PointerPosition {
public:
    static constexpr std::size_t maximumTrail = 128;
    // A reported location repeated within this many seconds is still the system catching up.
    static constexpr double recentWindow = 0.25;
    // A reported location within this many points of a trail entry (each axis) is that entry,
    // rounded by the system.
    static constexpr double recognitionTolerance = 1.0;

    // The start point for deltas, given the system's reported location and the time (seconds).
    TrackpadVector resolve(TrackpadVector observed, double time);
    // Notes a position that was just posted. A non-finite point forgets everything.
    void record(TrackpadVector position);
    void reset();

    const std::optional<TrackpadVector>& commanded() const { return m_commanded; }
    const std::optional<TrackpadVector>& lastObserved() const { return m_lastObserved; }
    const std::optional<double>& timestamp() const { return m_timestamp; }
    // Oldest first.
    const std::vector<TrackpadVector>& trail() const { return m_trail; }

private:
    // Drops the recognised trail entry and everything older; false when `observed` matches none.
    bool recognise(TrackpadVector observed);

    std::optional<TrackpadVector> m_commanded;
    std::optional<TrackpadVector> m_lastObserved;
    std::optional<double> m_timestamp;
    std::vector<TrackpadVector> m_trail;
};

} // namespace quillvane
