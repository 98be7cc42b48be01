#pragma once

#include <array>
#include <deque>
#include <optional>

#include "controller/ControllerOutput.h"
#include "controller/OneEuroFilter.h"
#include "controller/PointerMoveQueue.h"

namespace quillvane {

// The controller's air mouse: the phone held like a pointer, its gyroscope's angular velocity
// turned into pointer motion. Turning left and right (about the screen's normal, z) moves the
// pointer sideways, tilting the top up and down (about x) moves it up and down. Rates under a
// dead zone are the sensor's drift and a resting hand, a 1€ filter takes out tremor, and a gain
// curve gives slow turns precision and quick ones reach.
//
// Pressing or releasing a button jerks the phone, so the motion of the last 100 ms before a
// button goes down or up is taken back before the click or the drag's end: the click lands
// where the user aimed. A press that neither lasts nor moves is a click; one that moves or is
// held becomes a drag.
class AirMouse {
public:
    enum class Button { left, right };

    // Angular velocity in radians per second about the device's x, y and z axes at `time`.
    // Samples that are not finite or not later than the previous one are ignored.
    void motion(double x, double y, double z, double time, ControllerOutput& out);
    void button(Button which, bool down, double time, ControllerOutput& out);
    // Sends queued motion, and turns a press held long enough into a drag.
    void advance(double time, ControllerOutput& out);

    bool idle() const { return !m_left && !m_right && m_moves.empty(); }

private:
    struct Step {
        double time = 0;
        TrackpadVector delta;
    };
    // As TrackpadGesture's: a clock that runs back by more than a second starts afresh, letting
    // go of a held drag.
    void setTime(double time, ControllerOutput& out);
    void takeBack(double time, ControllerOutput& out);
    void startDrag(ControllerOutput& out);

    double m_now = 0;
    std::optional<double> m_lastSample;
    OneEuroFilter m_filterX = filter();
    OneEuroFilter m_filterY = filter();
    PointerMoveQueue m_moves;
    std::deque<Step> m_recent; // motion sent or queued within the release buffer
    // A press not yet known to be a click or a drag: its time and the motion held back since.
    std::optional<double> m_left;
    bool m_dragging = false;
    TrackpadVector m_heldBack;
    bool m_right = false;

    static OneEuroFilter filter();
};

} // namespace quillvane
