#pragma once

#include <optional>
#include <vector>

#include "pointer/DisplayRect.h"
#include "protocol/WireMessage.h"

namespace quillvane {

// Where the pointer is, for a backend that can only post relative motion and cannot read the
// pointer back (no Wayland client can). The backend keeps this one up to date with every motion
// it posts. Until the first motion the position is unknown: the backend then pushes the pointer
// into the top-left corner of the desktop, which the compositor clamps exactly as we do, and the
// shadow starts from there.
class ShadowPointer {
public:
    // A motion this long reaches the desktop's top-left corner from anywhere on it.
    static constexpr double homingDistance = 100'000;

    // The compositor's displays; a known position is clamped onto the new ones (a display that
    // went away takes the pointer with it, as the compositor does).
    void setDisplays(std::vector<DisplayRect> displays);
    const std::vector<DisplayRect>& displays() const { return m_displays; }

    std::optional<TrackpadVector> position() const { return m_position; }

    // The motion that carries the pointer from where it is to `target`, clamped onto the
    // displays; the pointer is then taken to be there. An unknown position is first homed: the
    // motion returned by home() must be posted before this one.
    TrackpadVector moveTo(TrackpadVector target);

    // The motion that pins the pointer in the desktop's top-left corner, taken as its position.
    TrackpadVector home();

    // The position is no longer known (the compositor restarted).
    void forget() { m_position.reset(); }

private:
    std::vector<DisplayRect> m_displays;
    std::optional<TrackpadVector> m_position;
};

} // namespace quillvane
