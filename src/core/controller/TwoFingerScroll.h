#pragma once

#include <array>
#include <optional>

#include "controller/ControllerOutput.h"
#include "controller/TrackpadSettings.h"

namespace quillvane {

// The scroll half of the trackpad: two fingers' common motion becomes scroll messages with the
// phases the host expects (began, changed, ended or cancelled), a flick continues as momentum
// (momentumBegan, momentumChanged, momentumEnded) that slows exponentially, the dominant axis
// keeps a rail until the other clearly wins, and every step of travel asks for a haptic tick.
class TwoFingerScroll {
public:
    // Fingers travel this far before a scroll begins (the same slop as a tap's).
    static constexpr double startDistance = 8;
    // One haptic detent per this much finger travel.
    static constexpr double detentDistance = 50;

    // Two fingers came down: the scroll waits for their travel to pass the start distance.
    void touch(double time);
    // The fingers' common motion (their mean delta, in points) at `time`.
    void move(TrackpadVector delta, double time, const TrackpadSettings& settings,
              ControllerOutput& out);
    // The fingers left the surface (or the system took them, `cancelled`): the scroll ends, and
    // a flick goes on as momentum.
    void lift(double time, bool cancelled, ControllerOutput& out);
    // A new touch stops momentum at once.
    void stop(double time, ControllerOutput& out);
    // Sends the changes and the momentum due by `time`.
    void advance(double time, ControllerOutput& out);

    bool scrolling() const { return m_state == State::scrolling; }
    bool momentum() const { return m_state == State::momentum; }
    // Nothing left to send until the next touch.
    bool idle() const { return m_state == State::idle || m_state == State::waiting; }

private:
    enum class State { idle, waiting, scrolling, momentum };
    enum class Rail { none, horizontal, vertical };

    void send(TrackpadScrollPhase phase, TrackpadVector delta, ControllerOutput& out);
    void flush(double time, ControllerOutput& out);
    TrackpadVector railed(TrackpadVector delta) const;
    void followRail(TrackpadVector delta, double time);
    TrackpadVector velocity(double time) const;
    TrackpadVector momentumTravel(double time) const;

    State m_state = State::idle;
    Rail m_rail = Rail::none;
    TrackpadVector m_travel;          // before the scroll begins
    TrackpadVector m_pending;         // sent with the next change
    TrackpadVector m_recent;          // decayed absolute travel per axis, for the rail
    double m_recentTime = 0;
    double m_detentTravel = 0;
    std::optional<double> m_lastSent;
    // Finger positions (the sum of the railed deltas) of the latest samples, for the flick speed.
    struct Sample {
        double time = 0;
        TrackpadVector position;
    };
    std::array<Sample, 16> m_samples{};
    std::size_t m_sampleCount = 0;
    TrackpadVector m_position;
    // Momentum: the speed at its start, its start time and the travel already sent.
    TrackpadVector m_velocity;
    double m_momentumStart = 0;
    double m_momentumEnd = 0;
    TrackpadVector m_momentumSent;
};

} // namespace quillvane
