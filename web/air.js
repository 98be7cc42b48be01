// The air mouse: the phone's rotation rates from DeviceMotion go to the core's AirMouse, which
// turns them into pointer motion while a button is held. iOS asks the person first, and only
// from a tap; a browser without the sensor says so after a second of silence.

const radians = Math.PI / 180;

export function attachAirMouse(toggle, core, emit, wake, { onError, onChange }) {
    let on = false;
    let heard = false;
    let silence = 0;

    const onMotion = (event) => {
        const rate = event.rotationRate;
        if (!rate || rate.alpha === null)
            return;
        heard = true;
        // beta turns about x, gamma about y, alpha about z (degrees per second).
        emit(core.airMouse.motion(rate.beta * radians, rate.gamma * radians, rate.alpha * radians, event.timeStamp / 1000));
        wake();
    };

    const set = (value) => {
        on = value;
        toggle.setAttribute('aria-pressed', String(on));
        clearTimeout(silence);
        if (on) {
            heard = false;
            window.addEventListener('devicemotion', onMotion);
            silence = setTimeout(() => {
                if (!heard) {
                    onError('这个浏览器没有动作传感器');
                    set(false);
                }
            }, 1000);
        } else {
            window.removeEventListener('devicemotion', onMotion);
            core.airMouse.reset();
        }
        onChange(on);
    };

    toggle.addEventListener('click', async () => {
        if (on) {
            set(false);
            return;
        }
        if (typeof DeviceMotionEvent === 'undefined') {
            onError('这个浏览器没有动作传感器');
            return;
        }
        if (typeof DeviceMotionEvent.requestPermission === 'function') {
            const answer = await DeviceMotionEvent.requestPermission().catch(() => 'denied');
            if (answer !== 'granted') {
                onError('空中鼠标需要动作传感器权限');
                return;
            }
        }
        set(true);
    });
    return { get on() { return on; }, off: () => on && set(false) };
}
