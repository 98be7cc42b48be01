#include "TwoFingerScroll.h"

#include <algorithm>
#include <cmath>

#include "controller/PointerMoveQueue.h"
#include "pointer/TrackpadMoveBatch.h"

namespace quillvane {

namespace {

// A rail holds while the other axis travels less than twice as far (within about 27 degrees of
// the axis, atan 1/2) ...
constexpr double railRatio = 2;
// ... and is handed to the other axis only once that one has also gone 32 points (5 mm on a
// phone's 163 points per inch), libinput's direction-lock distance for touchpads.
constexpr double railBreakDistance = 32;
// Recent travel for the rail fades with this time constant, so only the last tenth of a second
// of motion decides.
constexpr double railMemory = 0.1;
// The flick speed is the travel of the last 100 ms, and a finger that rested 40 ms before
// lifting has no speed: the horizon and the stop time of Android's VelocityTracker.
constexpr double velocityHorizon = 0.1;
constexpr double stoppedAfter = 0.04;
// Below this lift speed a scroll stops dead, so reading-pace scrolling never coasts on.
constexpr double flickSpeed = 250;
// Android's largest fling speed (8000 dp/s) is more than a page per frame on a computer; 6000
// keeps the whole coast (speed / decay) under the 2000 points one message may carry.
constexpr double maximumMomentumSpeed = 6000;
// Momentum speed falls as exp(-decay * t): GTK's kinetic scrolling uses a friction of 4 per
// second, about a second of coasting for a brisk flick.
constexpr double decay = 4;
// Coasting ends when it falls below 30 points per second, under one X wheel step (50 pixels)
// in the remaining coast (30 / 4 = 7.5 points).
constexpr double stopSpeed = 30;

TrackpadVector clampedDelta(TrackpadVector v) {
    const double limit = TrackpadMoveBatch::maximumDelta;
    return {std::clamp(v.x, -limit, limit), std::clamp(v.y, -limit, limit)};
}

} // namespace

void TwoFingerScroll::touch(double time) {
    m_state = State::waiting;
    m_rail = Rail::none;
    m_travel = m_pending = m_recent = m_position = {};
    m_recentTime = time;
    m_detentTravel = 0;
    m_sampleCount = 0;
}

void TwoFingerScroll::send(TrackpadScrollPhase phase, TrackpadVector delta, ControllerOutput& out) {
    WireMessage& message = out.messages.emplace_back(WireMessage::Kind::scroll);
    delta = clampedDelta(delta);
    message.x = delta.x;
    message.y = delta.y;
    message.scrollPhase = phase;
}

TrackpadVector TwoFingerScroll::railed(TrackpadVector delta) const {
    switch (m_rail) {
    case Rail::horizontal: return {delta.x, 0};
    case Rail::vertical: return {0, delta.y};
    case Rail::none: break;
    }
    return delta;
}

void TwoFingerScroll::followRail(TrackpadVector delta, double time) {
    const double fade = std::exp(-std::max(0.0, time - m_recentTime) / railMemory);
    m_recentTime = time;
    m_recent = {m_recent.x * fade + std::abs(delta.x), m_recent.y * fade + std::abs(delta.y)};
    if (m_rail == Rail::vertical && m_recent.x >= railBreakDistance &&
        m_recent.x > railRatio * m_recent.y)
        m_rail = Rail::horizontal;
    else if (m_rail == Rail::horizontal && m_recent.y >= railBreakDistance &&
             m_recent.y > railRatio * m_recent.x)
        m_rail = Rail::vertical;
}

void TwoFingerScroll::move(TrackpadVector delta, double time, const TrackpadSettings& settings,
                           ControllerOutput& out) {
    if (!std::isfinite(delta.x) || !std::isfinite(delta.y))
        return;
    if (!settings.naturalScroll)
        delta = {-delta.x, -delta.y};
    if (m_state == State::waiting) {
        m_travel.x += delta.x;
        m_travel.y += delta.y;
        if (std::hypot(m_travel.x, m_travel.y) < startDistance)
            return;
        const double ax = std::abs(m_travel.x);
        const double ay = std::abs(m_travel.y);
        m_rail = ay >= railRatio * ax ? Rail::vertical
                 : ax >= railRatio * ay ? Rail::horizontal
                                        : Rail::none;
        m_state = State::scrolling;
        delta = m_travel;
        send(TrackpadScrollPhase::began, railed(delta), out);
        out.haptics.push_back(Haptic::start);
        m_lastSent = time;
        m_recentTime = time;
        m_recent = {ax, ay};
    } else if (m_state == State::scrolling) {
        followRail(delta, time);
        const TrackpadVector step = railed(delta);
        // A change beyond what one message carries (a jump no finger makes) is cut short.
        m_pending = clampedDelta({m_pending.x + step.x, m_pending.y + step.y});
    } else {
        return;
    }

    const TrackpadVector travelled = railed(delta);
    m_position.x += travelled.x;
    m_position.y += travelled.y;
    if (m_sampleCount == m_samples.size()) {
        std::copy(m_samples.begin() + 1, m_samples.end(), m_samples.begin());
        --m_sampleCount;
    }
    m_samples[m_sampleCount++] = {time, m_position};

    m_detentTravel += std::hypot(travelled.x, travelled.y);
    // A jump of many detents in one sample ticks once: a burst of vibrations is not a feel.
    if (m_detentTravel >= detentDistance) {
        out.haptics.push_back(Haptic::detent);
        m_detentTravel = std::fmod(m_detentTravel, detentDistance);
    }
    advance(time, out);
}

void TwoFingerScroll::flush(double time, ControllerOutput& out) {
    if (m_pending.x == 0 && m_pending.y == 0)
        return;
    send(TrackpadScrollPhase::changed, m_pending, out);
    m_pending = {};
    m_lastSent = time;
}

TrackpadVector TwoFingerScroll::velocity(double time) const {
    if (m_sampleCount < 2 || time - m_samples[m_sampleCount - 1].time > stoppedAfter)
        return {};
    const Sample& last = m_samples[m_sampleCount - 1];
    std::size_t first = m_sampleCount - 1;
    while (first > 0 && last.time - m_samples[first - 1].time <= velocityHorizon)
        --first;
    if (first == m_sampleCount - 1)
        --first; // one interval is the least a speed can be measured over
    const Sample& from = m_samples[first];
    const double dt = last.time - from.time;
    if (!(dt > 0))
        return {};
    return {(last.position.x - from.position.x) / dt, (last.position.y - from.position.y) / dt};
}

void TwoFingerScroll::lift(double time, bool cancelled, ControllerOutput& out) {
    if (m_state != State::scrolling) {
        if (m_state == State::waiting)
            m_state = State::idle;
        return;
    }
    flush(time, out);
    if (cancelled) {
        send(TrackpadScrollPhase::cancelled, {}, out);
        m_state = State::idle;
        return;
    }
    send(TrackpadScrollPhase::ended, {}, out);
    TrackpadVector v = velocity(time);
    const double speed = std::hypot(v.x, v.y);
    if (!(speed >= flickSpeed) || !std::isfinite(speed)) {
        m_state = State::idle;
        return;
    }
    if (speed > maximumMomentumSpeed)
        v = {v.x * (maximumMomentumSpeed / speed), v.y * (maximumMomentumSpeed / speed)};
    m_velocity = v;
    m_momentumStart = time;
    m_momentumEnd = time + std::log(std::min(speed, maximumMomentumSpeed) / stopSpeed) / decay;
    m_momentumSent = {};
    m_lastSent = time;
    m_state = State::momentum;
    send(TrackpadScrollPhase::momentumBegan, {}, out);
}

TrackpadVector TwoFingerScroll::momentumTravel(double time) const {
    const double t = std::clamp(time, m_momentumStart, m_momentumEnd) - m_momentumStart;
    const double reach = (1 - std::exp(-decay * t)) / decay;
    return {m_velocity.x * reach, m_velocity.y * reach};
}

void TwoFingerScroll::stop(double, ControllerOutput& out) {
    if (m_state != State::momentum)
        return;
    send(TrackpadScrollPhase::momentumEnded, {}, out);
    m_state = State::idle;
}

void TwoFingerScroll::advance(double time, ControllerOutput& out) {
    const bool due = PointerMoveQueue::frameDue(m_lastSent, time);
    if (m_state == State::scrolling && due) {
        flush(time, out);
    } else if (m_state == State::momentum && (due || time >= m_momentumEnd)) {
        const TrackpadVector reached = momentumTravel(time);
        const TrackpadVector step{reached.x - m_momentumSent.x, reached.y - m_momentumSent.y};
        m_momentumSent = reached;
        m_lastSent = time;
        if (time >= m_momentumEnd) {
            send(TrackpadScrollPhase::momentumEnded, step, out);
            m_state = State::idle;
        } else {
            send(TrackpadScrollPhase::momentumChanged, step, out);
        }
    }
}

} // namespace quillvane
