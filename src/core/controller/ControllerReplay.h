#pragma once

#include <cstddef>
#include <vector>

#include "controller/AirMouse.h"
#include "controller/ControllerOutput.h"
#include "controller/TraceEvent.h"
#include "controller/TrackpadGesture.h"

namespace quillvane {

// Plays a trace through the recognisers as a controller's event loop would: each event at its
// time, and a frame tick every PointerMoveQueue::frameInterval from the first event on (an event
// and a tick at the same time: the event first), the ticks going on after the last event until
// both recognisers are idle (at most `tailLimit` seconds). Deterministic, so every build of the
// core makes the same messages from the same trace.
class ControllerReplay {
public:
    static constexpr double tailLimit = 10;

    struct Step {
        double time = 0;
        ControllerOutput output;
    };

    // `events` in time order (ties keep their order).
    ControllerReplay(std::vector<TraceEvent> events, TrackpadSettings settings);

    // Plays everything due up to `time`; appends each event's or tick's output that is not empty.
    void runUntil(double time, std::vector<Step>& out);
    // Plays the whole trace.
    std::vector<Step> runAll();

    bool finished() const { return m_finished; }
    // Time of the next event or tick.
    double nextTime() const;

private:
    double tickTime() const;

    std::vector<TraceEvent> m_events;
    std::size_t m_next = 0;
    std::size_t m_tick = 0;
    double m_start = 0;
    bool m_finished = false;
    TrackpadGesture m_trackpad;
    AirMouse m_air;
};

} // namespace quillvane
