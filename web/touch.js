// The trackpad surface: every finger report goes to the core's TrackpadGesture as it comes, so
// what the fingers mean is decided by the core alone; `wake` has the recogniser advanced every
// animation frame while it has anything running (momentum, the double-tap window, a drag's grace).
//
// Fingers are read as pointer events. Where the browser has them, moves come from
// `pointerrawupdate`, which it hands over as soon as a move arrives; `touchmove` and `pointermove`
// wait for the next animation frame, a frame's worth of lag the pointer on the screen would show.
// Touch listeners stay, not passive, only so the page never scrolls or zooms under the fingers.
//
// The fingers land on a canvas with a low-latency ("desynchronized") context, drawn on never: a
// finger going down on such a canvas has Chromium hand over every move as it arrives until the
// finger lifts, rather than once per frame, and on Android it asks the system for the same
// (unbuffered dispatch) — the touch panel's own rate instead of the display's.

const phases = { pointerdown: 'began', pointerup: 'ended', pointercancel: 'cancelled' };
const move = 'onpointerrawupdate' in window ? 'pointerrawupdate' : 'pointermove';

export function attachTrackpad(surface, core, emit, wake) {
    surface.querySelector('canvas')?.getContext('2d', { desynchronized: true });
    const report = (event, phase) => {
        // A mouse on a desktop browser is not a finger.
        if (event.pointerType === 'mouse')
            return;
        // Positions in the viewport, not in the surface: the surface moves when the bars above it
        // change (the round-trip time appearing, a notice), and a finger resting on the glass
        // must not read that as travel.
        emit(core.trackpad.touch(event.pointerId, event.clientX, event.clientY, event.timeStamp / 1000, phase));
        wake();
    };
    for (const [type, phase] of Object.entries(phases))
        surface.addEventListener(type, (event) => report(event, phase));
    surface.addEventListener(move, (event) => report(event, 'moved'));
    for (const type of ['touchstart', 'touchmove', 'touchend', 'touchcancel'])
        surface.addEventListener(type, (event) => event.preventDefault(), { passive: false });
    // Safari's pinch and the menu of a long press.
    for (const type of ['gesturestart', 'gesturechange', 'contextmenu'])
        surface.addEventListener(type, (event) => event.preventDefault(), { passive: false });
}
