#include "TrackpadGesture.h"

#include <algorithm>
#include <cmath>

namespace quillvane {

namespace {

// A touch that travels less than this is still a tap: Android's touch slop (8 dp) and
// libinput's tap motion threshold (1.3 mm) agree on it.
constexpr double tapSlop = 8;
// A tap lasts at most this long, and a second touch must come this soon after a tap to make a
// double tap or a drag: libinput's tap timeout.
constexpr double tapTimeout = 0.18;
constexpr double doubleTapWindow = 0.18;
// After a drag's finger lifts, a touch within this time goes on dragging: libinput's drag-lock
// timeout.
constexpr double dragGrace = 0.3;
// A lone finger waits this long before it points, so a second finger put down with it (people
// land two fingers up to a few tens of milliseconds apart, and a browser reports two fingers
// that land together as one and then two) starts a scroll without a pointer jump first.
constexpr double settleTime = 0.04;
// How far a clock may run back before it counts as a new one.
constexpr double clockJump = 1;

TrackpadVector minus(TrackpadVector a, TrackpadVector b) { return {a.x - b.x, a.y - b.y}; }

} // namespace

TrackpadGesture::Finger* TrackpadGesture::finger(std::int64_t id) {
    const auto it =
        std::find_if(m_fingers.begin(), m_fingers.end(), [id](const Finger& f) { return f.id == id; });
    return it == m_fingers.end() ? nullptr : &*it;
}

bool TrackpadGesture::idle() const {
    return m_fingers.empty() && m_mode == Mode::idle && !m_pendingTap && !m_dragHeld &&
           m_scroll.idle() && m_moves.empty();
}

void TrackpadGesture::setTime(double time, ControllerOutput& out) {
    if (!std::isfinite(time) || time >= m_now) {
        m_now = std::isfinite(time) ? time : m_now;
        return;
    }
    if (time >= m_now - clockJump)
        return;
    m_moves.flush(out.messages);
    m_scroll.lift(m_now, true, out);
    m_scroll.stop(m_now, out);
    if (m_dragHeld)
        drag(false, out);
    *this = TrackpadGesture(m_settings);
    m_now = time;
}

void TrackpadGesture::touch(const TouchPoint& point, ControllerOutput& out) {
    advance(point.time, out);
    // The finger's own time, which may lie a little behind the clock: a browser hands over the
    // reports of a frame after its frame tick, and two of them would otherwise share the tick's
    // time, the second moving no distance in no time (lost) and looking too soon to send.
    const double sampled = std::isfinite(point.time) ? std::min(point.time, m_now) : m_now;
    const bool placed = std::isfinite(point.x) && std::isfinite(point.y);
    switch (point.phase) {
    case TouchPhase::began:
        if (placed && !finger(point.id) && m_fingers.size() < maximumFingers)
            began(point, sampled, out);
        break;
    case TouchPhase::moved:
        if (Finger* f = finger(point.id); f && placed)
            moved(*f, {point.x, point.y}, sampled, out);
        break;
    case TouchPhase::ended:
    case TouchPhase::cancelled:
        if (Finger* f = finger(point.id)) {
            if (placed)
                moved(*f, {point.x, point.y}, sampled, out);
            lifted(static_cast<std::size_t>(f - m_fingers.data()),
                   point.phase == TouchPhase::cancelled, out);
        }
        break;
    }
    m_moves.flushDue(m_now, out.messages);
}

void TrackpadGesture::began(const TouchPoint& point, double sampled, ControllerOutput& out) {
    const TrackpadVector at{point.x, point.y};
    m_fingers.push_back({point.id, at, at, sampled, sampled});
    if (m_fingers.size() == 1) {
        m_sessionStart = m_now;
        m_firstLift.reset();
        m_mostFingers = 1;
        m_travelled = m_cancelled = m_noTap = m_afterTap = false;
        if (m_scroll.momentum()) {
            // A touch that stops a coasting page only stops it.
            m_scroll.stop(m_now, out);
            m_noTap = true;
        }
        if (m_dragHeld) {
            m_dragGraceEnd.reset();
            m_noTap = true;
            startPointing(m_fingers.front(), false, out);
            m_mode = Mode::dragging;
        } else {
            m_afterTap = m_pendingTap.has_value();
            m_mode = Mode::touching;
        }
        return;
    }

    m_mostFingers = std::max(m_mostFingers, m_fingers.size());
    if (m_mode == Mode::dragging)
        return; // the drag follows its first finger; others rest on the glass
    if (m_fingers.size() == 2 && (m_mode == Mode::touching || m_mode == Mode::pointing)) {
        // A tap waiting for its double-tap window is a finished click now.
        sendPendingTap(out);
        m_moves.flush(out.messages);
        m_scroll.touch(m_now);
        m_mode = Mode::scrolling;
        return;
    }
    if (m_mode == Mode::scrolling)
        m_scroll.lift(m_now, true, out);
    m_mode = Mode::ignoring;
}

void TrackpadGesture::moved(Finger& f, TrackpadVector position, double sampled,
                            ControllerOutput& out) {
    const TrackpadVector delta = minus(position, f.last);
    f.last = position;
    f.lastTime = sampled;
    if (std::hypot(position.x - f.start.x, position.y - f.start.y) > tapSlop)
        m_travelled = true;

    switch (m_mode) {
    case Mode::touching:
        // A touch that moves away right after a tap drags; a lone touch points once it has
        // settled (advance()).
        if (m_afterTap && m_travelled)
            startPointing(f, true, out);
        break;
    case Mode::pointing:
        point(delta, sampled, out);
        break;
    case Mode::dragging:
        if (&f == &m_fingers.front())
            point(delta, sampled, out);
        break;
    case Mode::scrolling:
        if (m_fingers.size() == 2)
            m_scroll.move({delta.x / 2, delta.y / 2}, m_now, m_settings, out);
        break;
    case Mode::idle:
    case Mode::ignoring:
        break;
    }
}

void TrackpadGesture::point(TrackpadVector delta, double time, ControllerOutput& out) {
    if (delta.x == 0 && delta.y == 0)
        return;
    m_moves.add(m_pointer.move(delta.x, delta.y, time, m_settings.acceleration), time);
    m_moves.flushDue(m_now, out.messages);
}

// Commits the lone finger to pointing (or dragging), sending the travel it made while it
// settled as one sample over the time it took.
void TrackpadGesture::startPointing(const Finger& f, bool dragging, ControllerOutput& out) {
    if (dragging) {
        m_pendingTap.reset();
        drag(true, out);
        out.haptics.push_back(Haptic::start);
    }
    m_mode = dragging ? Mode::dragging : Mode::pointing;
    m_pointer.reset(f.downTime);
    point(minus(f.last, f.start), std::max(f.lastTime, f.downTime + 1e-3), out);
}

void TrackpadGesture::lifted(std::size_t index, bool cancelled, ControllerOutput& out) {
    m_fingers.erase(m_fingers.begin() + static_cast<std::ptrdiff_t>(index));
    m_cancelled = m_cancelled || cancelled;
    if (!m_firstLift)
        m_firstLift = m_now;

    if (m_mode == Mode::scrolling && m_fingers.size() == 1) {
        // The scroll ends with the first finger up; the one left behind does nothing.
        m_scroll.lift(m_now, cancelled, out);
        m_mode = Mode::ignoring;
    }
    if (m_fingers.empty())
        sessionEnded(out);
}

void TrackpadGesture::sessionEnded(ControllerOutput& out) {
    const Mode mode = m_mode;
    m_mode = Mode::idle;
    if (mode == Mode::dragging) {
        if (m_cancelled)
            drag(false, out);
        else
            m_dragGraceEnd = m_now + dragGrace;
        return;
    }

    const bool tap = m_settings.tapToClick && !m_travelled && !m_cancelled && !m_noTap &&
                     m_mostFingers <= 2 && *m_firstLift - m_sessionStart <= tapTimeout &&
                     m_now - *m_firstLift <= tapTimeout;
    if (!tap) {
        sendPendingTap(out);
        return;
    }
    if (m_mostFingers == 2) {
        sendPendingTap(out);
        click(true, std::nullopt, out);
    } else if (m_afterTap && m_pendingTap) {
        // A double tap: the first click, then one that continues it.
        m_pendingTap.reset();
        click(false, std::nullopt, out);
        click(false, true, out);
    } else {
        m_pendingTap = m_now;
    }
}

void TrackpadGesture::advance(double time, ControllerOutput& out) {
    setTime(time, out);
    if (m_mode == Mode::touching && m_fingers.size() == 1) {
        const Finger& f = m_fingers.front();
        if (m_afterTap && m_now - f.downTime > tapTimeout)
            startPointing(f, true, out); // a tap, then a touch that stays: a press held to drag
        else if (!m_afterTap && m_now - f.downTime >= settleTime)
            startPointing(f, false, out);
    }
    if (m_pendingTap && !(m_afterTap && m_mode == Mode::touching) &&
        m_now - *m_pendingTap >= doubleTapWindow)
        sendPendingTap(out);
    if (m_dragGraceEnd && m_now >= *m_dragGraceEnd)
        drag(false, out);
    m_scroll.advance(m_now, out);
    m_moves.flushDue(m_now, out.messages);
}

void TrackpadGesture::sendPendingTap(ControllerOutput& out) {
    if (!m_pendingTap)
        return;
    m_pendingTap.reset();
    click(false, std::nullopt, out);
}

void TrackpadGesture::click(bool right, std::optional<bool> continuing, ControllerOutput& out) {
    m_moves.flush(out.messages);
    WireMessage& message = out.messages.emplace_back(WireMessage::Kind::click);
    message.flag = right;
    message.continuingClick = continuing;
}

void TrackpadGesture::drag(bool held, ControllerOutput& out) {
    m_moves.flush(out.messages);
    WireMessage& message = out.messages.emplace_back(WireMessage::Kind::drag);
    message.flag = held;
    message.continuingClick = false;
    m_dragHeld = held;
    m_dragGraceEnd.reset();
}

} // namespace quillvane
