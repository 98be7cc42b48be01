#pragma once

namespace quillvane {

// The user's trackpad settings on the controller.
struct TrackpadSettings {
    // TrackpadPointer's acceleration: 0 passes finger motion unchanged, 1 gives the full curve.
    double acceleration = 0.7;
    bool tapToClick = true;
    // The content follows the fingers, as on a touch screen; false scrolls the other way round,
    // as a mouse wheel does.
    bool naturalScroll = true;
};

} // namespace quillvane
