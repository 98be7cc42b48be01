#pragma once

#include <QString>

#include <vector>

#include "controller/TraceEvent.h"
#include "controller/TrackpadSettings.h"

namespace quillvane {

// A recorded controller trace, read from JSON:
//
//   {"settings": {"acceleration": 0.7, "tapToClick": true, "naturalScroll": true},
//    "events": [[0.000, "began", 1, 120, 300],       time, phase, finger id, x, y (points)
//               [0.008, "moved", 1, 124, 301],       phases: began moved ended cancelled
//               [0.500, "motion", 0.1, 0.0, -0.4],   gyroscope rad/s about x, y, z
//               [0.600, "press", "left"],            air-mouse button down ("right" too)
//               [0.700, "release", "left"]]}
//
// Times are seconds, in order; "settings" and each of its keys may be left out (defaults of
// TrackpadSettings).
struct TraceFile {
    TrackpadSettings settings;
    std::vector<TraceEvent> events;

    // Throws std::runtime_error naming the file and the first bad event.
    static TraceFile read(const QString& path);
};

} // namespace quillvane
