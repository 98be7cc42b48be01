#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "controller/ControllerOutput.h"
#include "controller/PointerMoveQueue.h"
#include "controller/TouchPoint.h"
#include "controller/TrackpadSettings.h"
#include "controller/TwoFingerScroll.h"
#include "pointer/TrackpadPointer.h"

namespace quillvane {

// The controller's trackpad: finger reports in, the messages a laptop's trackpad would cause
// out. One finger points (with TrackpadPointer's acceleration); a tap clicks, two fingers
// tapping right-click; a tap followed by a touch that moves drags, and lifting ends the drag
// unless the finger comes back within a short grace; two fingers scroll (TwoFingerScroll);
// three or more fingers do nothing and never click.
//
// Taps wait out the double-tap window before clicking, so that a tap-and-drag is a single press.
// Momentum, that wait and the drag's grace go on without touches: the owner calls advance()
// every frame (or at least before the next touch), with the time as an argument throughout.
class TrackpadGesture {
public:
    static constexpr std::size_t maximumFingers = 10;

    explicit TrackpadGesture(TrackpadSettings settings = {}) : m_settings(settings) {}

    void setSettings(const TrackpadSettings& settings) { m_settings = settings; }
    const TrackpadSettings& settings() const { return m_settings; }

    // One finger report; what it causes is appended to `out`. Reports of unknown fingers, a
    // second `began` of a finger that is down and positions that are not finite are ignored;
    // a time a little earlier than the last one counts as the last one for the recogniser's
    // clock (the finger's speed and the batching of its moves keep the report's own), and one
    // more than a second earlier starts a new clock (see restartClock).
    void touch(const TouchPoint& point, ControllerOutput& out);
    // The timed part: settles, clicks after the double-tap window, ends a drag after its grace,
    // coasts momentum and sends queued motion.
    void advance(double time, ControllerOutput& out);

    // No finger down and nothing left to send: the owner may stop calling advance().
    bool idle() const;
    std::size_t fingerCount() const { return m_fingers.size(); }

private:
    enum class Mode { idle, touching, pointing, scrolling, dragging, ignoring };
    struct Finger {
        std::int64_t id = 0;
        TrackpadVector start;
        TrackpadVector last;
        double downTime = 0;
        double lastTime = 0;
    };

    void began(const TouchPoint& point, double sampled, ControllerOutput& out);
    void moved(Finger& finger, TrackpadVector position, double sampled, ControllerOutput& out);
    void lifted(std::size_t index, bool cancelled, ControllerOutput& out);
    void sessionEnded(ControllerOutput& out);
    void startPointing(const Finger& finger, bool drag, ControllerOutput& out);
    void point(TrackpadVector delta, double time, ControllerOutput& out);
    void click(bool right, std::optional<bool> continuing, ControllerOutput& out);
    void drag(bool held, ControllerOutput& out);
    void sendPendingTap(ControllerOutput& out);
    Finger* finger(std::int64_t id);
    // Takes `time` as the current time; a clock that runs back by more than a second is a new
    // clock (a bad timestamp, a page restored from the back-forward cache): whatever is held is
    // let go and the recogniser starts afresh, so that no deadline waits for the old clock.
    void setTime(double time, ControllerOutput& out);

    TrackpadSettings m_settings;
    double m_now = 0;
    Mode m_mode = Mode::idle;
    std::vector<Finger> m_fingers;

    // The current touch session, from the first finger down to the last one up.
    double m_sessionStart = 0;
    std::optional<double> m_firstLift;
    std::size_t m_mostFingers = 0;
    bool m_travelled = false;  // some finger went beyond the tap slop
    bool m_cancelled = false;  // the system took a finger
    bool m_noTap = false;      // the session stopped momentum or continued a drag
    bool m_afterTap = false;   // the session began inside a tap's double-tap window

    std::optional<double> m_pendingTap;  // lift time of a tap not yet clicked
    bool m_dragHeld = false;
    std::optional<double> m_dragGraceEnd;

    TrackpadPointer m_pointer;
    PointerMoveQueue m_moves;
    TwoFingerScroll m_scroll;
};

} // namespace quillvane
