#include "ControllerReplay.h"

#include <algorithm>
#include <limits>

namespace quillvane {

ControllerReplay::ControllerReplay(std::vector<TraceEvent> events, TrackpadSettings settings)
    : m_events(std::move(events)), m_trackpad(settings) {
    m_start = m_events.empty() ? 0 : m_events.front().time;
    m_finished = m_events.empty();
}

double ControllerReplay::tickTime() const {
    return m_start + static_cast<double>(m_tick) * PointerMoveQueue::frameInterval;
}

double ControllerReplay::nextTime() const {
    if (m_finished)
        return std::numeric_limits<double>::infinity();
    return m_next < m_events.size() ? std::min(m_events[m_next].time, tickTime()) : tickTime();
}

void ControllerReplay::runUntil(double time, std::vector<Step>& out) {
    while (!m_finished && nextTime() <= time) {
        Step step;
        if (m_next < m_events.size() && m_events[m_next].time <= tickTime()) {
            const TraceEvent& event = m_events[m_next++];
            step.time = event.time;
            switch (event.kind) {
            case TraceEvent::Kind::touch: {
                TouchPoint point = event.touch;
                point.time = event.time;
                m_trackpad.touch(point, step.output);
                break;
            }
            case TraceEvent::Kind::motion:
                m_air.motion(event.rate[0], event.rate[1], event.rate[2], event.time, step.output);
                break;
            case TraceEvent::Kind::button:
                m_air.button(event.button, event.down, event.time, step.output);
                break;
            }
        } else {
            step.time = tickTime();
            ++m_tick;
            m_trackpad.advance(step.time, step.output);
            m_air.advance(step.time, step.output);
            const bool eventsDone = m_next == m_events.size();
            if (eventsDone && ((m_trackpad.idle() && m_air.idle()) ||
                               step.time - m_events.back().time >= tailLimit))
                m_finished = true;
        }
        if (!step.output.empty())
            out.push_back(std::move(step));
    }
}

std::vector<ControllerReplay::Step> ControllerReplay::runAll() {
    std::vector<Step> out;
    runUntil(std::numeric_limits<double>::infinity(), out);
    return out;
}

} // namespace quillvane
