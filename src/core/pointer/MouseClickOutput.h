#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "pointer/MouseEvent.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// Builds the button events of clicks and drags and decides their click state, so double-clicks
// and double-click-drags made on the phone register as such. A click continues the previous one
// only with the same button, within 4 points of it, and in time (or when the phone says it
// continues); moving away, invalid input or any other kind of input (reset) breaks the chain.
class MouseClickOutput {
public:
    // How far (points) the pointer may move from the last click and still continue it.
    static constexpr double tolerance = 4.0;

    // Button-down then button-up of a click at `position`, or nothing when the position or time is
    // not finite or `interval` (the double-click interval, seconds) is not a finite positive
    // number. `continuingClick`: true continues the previous click whatever the time gap, false
    // starts afresh, absent leaves it to `interval`.
    std::vector<MouseEvent> events(bool right, std::optional<bool> continuingClick,
                                   TrackpadVector position, double time, double interval);

    // The left-button-down that starts a drag, or none when a drag is already held or the input is
    // invalid. The drag continues the previous left click only when `continuingClick` is true;
    // the time gap is not compared (the phone decided).
    std::optional<MouseEvent> beginDrag(TrackpadVector position, bool continuingClick, double time,
                                        double interval);
    // A left-dragged event carrying the held drag's click state; none without a drag or with a
    // non-finite position.
    std::optional<MouseEvent> dragged(TrackpadVector position) const;
    // The left-button-up ending the held drag. The drag is over even when the position is not
    // finite and no event comes back.
    std::optional<MouseEvent> endDrag(TrackpadVector position);

    // The pointer is now at `position`: the remembered click is forgotten once it is out of reach.
    void moved(TrackpadVector position);
    // Forgets the remembered click; a held drag stays held.
    void reset() { m_previous.reset(); }

    std::optional<std::int64_t> heldClickCount() const { return m_heldClickCount; }

private:
    struct Click {
        bool right = false;
        TrackpadVector position;
        double time = 0;
        std::int64_t count = 0;
    };

    std::optional<Click> m_previous;
    std::optional<std::int64_t> m_heldClickCount;
};

} // namespace quillvane
