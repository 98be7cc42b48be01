#include "AirMouse.h"

#include <algorithm>
#include <cmath>

namespace quillvane {

namespace {

// A phone gyroscope's zero-rate offset after calibration is under half a degree per second and
// a hand held still drifts about a degree per second; 0.03 rad/s (1.7 degrees/s) covers both.
constexpr double deadZone = 0.03;
// Points per radian of turn: slow turns get 350 (about 6 points a degree, for aiming at a
// button), quick ones 1400 (an 80-degree swing crosses a 1920-point screen), blended between
// 0.15 and 1.5 rad/s.
constexpr double slowGain = 350;
constexpr double fastGain = 1400;
constexpr double slowRate = 0.15;
constexpr double fastRate = 1.5;
// The 1€ filter's settings: at rest a 2 Hz cut-off removes the hand's 8-12 Hz tremor; it opens
// by 0.4 Hz per rad/s² of change, so a deliberate turn (some 20 rad/s²) passes at about 10 Hz.
// The derivative cut-off is the paper's 1 Hz.
constexpr double minimumCutoff = 2;
constexpr double cutoffSlope = 0.4;
constexpr double derivativeCutoff = 1;
// Motion sensors report at 60 Hz or faster; a longer gap means the sensor paused, and the
// filter starts over rather than smoothing across it.
constexpr double nominalInterval = 1.0 / 60;
constexpr double longestInterval = 0.1;
// The motion taken back when a button goes down or up: pressing a phone's button rocks it for
// about a tenth of a second.
constexpr double releaseBuffer = 0.1;
// A press that moves the pointer this far (the touch slop), or is held this long, is a drag.
constexpr double dragSlop = 8;
constexpr double holdTime = 0.3;
constexpr double clockJump = 1;

double gain(double rate) {
    const double t = std::clamp((rate - slowRate) / (fastRate - slowRate), 0.0, 1.0);
    return slowGain + (fastGain - slowGain) * t * t * (3 - 2 * t);
}

WireMessage buttonMessage(WireMessage::Kind kind, bool flag) {
    WireMessage message(kind);
    message.flag = flag;
    if (kind == WireMessage::Kind::drag)
        message.continuingClick = false;
    return message;
}

} // namespace

OneEuroFilter AirMouse::filter() {
    return OneEuroFilter(minimumCutoff, cutoffSlope, derivativeCutoff);
}

void AirMouse::setTime(double time, ControllerOutput& out) {
    if (!std::isfinite(time) || time >= m_now - clockJump) {
        m_now = std::isfinite(time) ? std::max(m_now, time) : m_now;
        return;
    }
    m_moves.flush(out.messages);
    if (m_dragging)
        out.messages.push_back(buttonMessage(WireMessage::Kind::drag, false));
    *this = AirMouse();
    m_now = time;
}

void AirMouse::motion(double x, double, double z, double time, ControllerOutput& out) {
    setTime(time, out);
    if (!std::isfinite(x) || !std::isfinite(z) || !std::isfinite(time) ||
        (m_lastSample && time <= *m_lastSample) || time < m_now)
        return;
    double dt = m_lastSample ? time - *m_lastSample : nominalInterval;
    m_lastSample = m_now = time;
    if (dt > longestInterval) {
        dt = nominalInterval;
        m_filterX.reset();
        m_filterY.reset();
    }
    // Turning left (positive about z) moves the pointer left; tilting the top up (positive
    // about x) moves it up, and y grows downwards.
    const double rx = m_filterX.filter(-z, dt);
    const double ry = m_filterY.filter(-x, dt);
    const double rate = std::hypot(rx, ry);
    if (rate > deadZone) {
        const double scale = (rate - deadZone) / rate * gain(rate) * dt;
        const TrackpadVector delta{rx * scale, ry * scale};
        if (m_right) {
            // A right press holds the pointer still until its release.
        } else if (m_left && !m_dragging) {
            m_heldBack.x += delta.x;
            m_heldBack.y += delta.y;
            if (std::hypot(m_heldBack.x, m_heldBack.y) > dragSlop)
                startDrag(out);
        } else {
            m_moves.add(delta, m_now);
            m_recent.push_back({time, delta});
        }
    }
    while (!m_recent.empty() && m_recent.front().time <= time - releaseBuffer)
        m_recent.pop_front();
    m_moves.flushDue(m_now, out.messages);
}

void AirMouse::takeBack(double time, ControllerOutput& out) {
    TrackpadVector back;
    for (const Step& step : m_recent) {
        if (step.time > time - releaseBuffer) {
            back.x -= step.delta.x;
            back.y -= step.delta.y;
        }
    }
    m_recent.clear();
    if (back.x != 0 || back.y != 0)
        m_moves.add(back, m_now);
    m_moves.flush(out.messages);
}

void AirMouse::startDrag(ControllerOutput& out) {
    m_moves.flush(out.messages);
    out.messages.push_back(buttonMessage(WireMessage::Kind::drag, true));
    out.haptics.push_back(Haptic::start);
    m_dragging = true;
    m_moves.add(m_heldBack, m_now);
    m_recent.push_back({m_now, m_heldBack});
    m_heldBack = {};
}

void AirMouse::button(Button which, bool down, double time, ControllerOutput& out) {
    advance(time, out);
    if (which == Button::right) {
        if (down == m_right || m_left)
            return;
        takeBack(m_now, out);
        m_right = down;
        if (!down)
            out.messages.push_back(buttonMessage(WireMessage::Kind::click, true));
        return;
    }
    if (down == m_left.has_value() || m_right)
        return;
    takeBack(m_now, out);
    if (down) {
        m_left = m_now;
        m_dragging = false;
        m_heldBack = {};
        return;
    }
    // A click drops the motion held back since its press: it lands where the press did.
    out.messages.push_back(m_dragging ? buttonMessage(WireMessage::Kind::drag, false)
                                      : buttonMessage(WireMessage::Kind::click, false));
    m_left.reset();
    m_dragging = false;
    m_heldBack = {};
}

void AirMouse::advance(double time, ControllerOutput& out) {
    setTime(time, out);
    if (m_left && !m_dragging && m_now - *m_left >= holdTime)
        startDrag(out);
    m_moves.flushDue(m_now, out.messages);
}

} // namespace quillvane
