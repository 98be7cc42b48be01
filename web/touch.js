// The trackpad surface: every touch goes to the core's TrackpadGesture as it comes, so what the
// fingers mean is decided by the core alone; `wake` has the recogniser advanced every animation
// frame while it has anything running (momentum, the double-tap window, a drag's grace).
// Listeners are not passive: the page never scrolls or zooms under the fingers.

const phases = { touchstart: 'began', touchmove: 'moved', touchend: 'ended', touchcancel: 'cancelled' };

export function attachTrackpad(surface, core, emit, wake) {
    const onTouch = (event) => {
        event.preventDefault();
        const phase = phases[event.type];
        const time = event.timeStamp / 1000;
        const box = surface.getBoundingClientRect();
        for (const touch of event.changedTouches)
            emit(core.trackpad.touch(touch.identifier, touch.clientX - box.left, touch.clientY - box.top, time, phase));
        wake();
    };
    for (const type of Object.keys(phases))
        surface.addEventListener(type, onTouch, { passive: false });
    // Safari's pinch and the menu of a long press.
    for (const type of ['gesturestart', 'gesturechange', 'contextmenu'])
        surface.addEventListener(type, (event) => event.preventDefault(), { passive: false });
}
