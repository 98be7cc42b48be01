// The page's view of the controller half of the core (appended to emscripten's loader, whose
// factory is createQuillvaneCore). Each call returns what the core decided: messages as JSON text,
// one WireMessage each, ready to send as they are; haptic ticks as "start" or "detent".
// A refusal of the core throws CoreError whose message is the core's own text.

export class CoreError extends Error {}

const touchPhases = { began: 0, moved: 1, ended: 2, cancelled: 3 };

function parse(text) {
    const out = { messages: [], haptics: [], results: [] };
    for (const line of text.split('\n')) {
        if (!line)
            continue;
        const body = line.slice(2);
        switch (line[0]) {
        case 'm': out.messages.push(body); break;
        case 'h': out.haptics.push(body); break;
        case 'r': out.results.push(body); break;
        case 'e': throw new CoreError(body);
        }
    }
    return out;
}

export async function loadCore(options = {}) {
    const core = await createQuillvaneCore(options);
    const fn = (name, args, returns = 'string') => {
        const call = core.cwrap(name, returns, args);
        return returns === 'string' ? (...values) => parse(call(...values)) : call;
    };
    const number = 'number';
    const string = 'string';
    const message = (name, args) => {
        const call = fn(name, args);
        return (...values) => call(...values).messages[0];
    };
    // Copies bytes into the module's memory for one call.
    const withBytes = (bytes, body) => {
        const pointer = core._malloc(Math.max(bytes.length, 1));
        try {
            core.HEAPU8.set(bytes, pointer);
            return body(pointer, bytes.length);
        } finally {
            core._free(pointer);
        }
    };
    const asBytes = (data) => data instanceof Uint8Array ? data
        : new Uint8Array(data.buffer, data.byteOffset, data.byteLength);

    const trackpadConfigure = fn('qv_trackpad_configure', [number, number, number], null);
    const trackpadTouch = fn('qv_trackpad_touch', [number, number, number, number, number]);
    const airButton = fn('qv_air_button', [number, number, number]);
    const voiceAppend = fn('qv_voice_append', [number, number]);
    const quick = {
        begin: fn('qv_quick_begin', [], null),
        key: fn('qv_quick_add_key', [string, string, number, number], null),
        input: fn('qv_quick_add_input', [string, string, string], null),
        broken: fn('qv_quick_broken', [], null),
        keys: fn('qv_quick_keys', [number]),
        inputs: fn('qv_quick_inputs', []),
    };
    // Hands a stored list to the core the way it was saved; anything that is not such a list
    // counts as text that did not decode, and the core's rules decide what remains.
    const loadList = (stored, add) => {
        quick.begin();
        let list = null;
        try {
            list = JSON.parse(stored);
        } catch {
            // stays null
        }
        if (!Array.isArray(list) || !list.every((item) => item && typeof item === 'object' && add(item)))
            quick.broken();
    };
    const isText = (value) => typeof value === 'string';
    const pointerGuide = fn('qv_pointer_guide', [string, string, string]);
    const history = {
        clear: fn('qv_history_clear', [], null),
        add: fn('qv_history_add', [string]),
        select: fn('qv_history_select', [string]),
        remove: fn('qv_history_remove', [string]),
        json: fn('qv_history_json', []),
    };

    return {
        trackpad: {
            configure({ acceleration = 0.7, tapToClick = true, naturalScroll = true } = {}) {
                trackpadConfigure(acceleration, tapToClick ? 1 : 0, naturalScroll ? 1 : 0);
            },
            reset: fn('qv_trackpad_reset', [], null),
            // phase: "began", "moved", "ended" or "cancelled"; time in seconds.
            touch: (id, x, y, time, phase) => trackpadTouch(id, x, y, time, touchPhases[phase] ?? -1),
            // Call every frame (and before lifting nothing else happens): momentum, the tap's
            // double-tap window and the drag's grace run on without touches.
            advance: fn('qv_trackpad_advance', [number]),
            idle: () => fn('qv_trackpad_idle', [], number)() !== 0,
        },
        airMouse: {
            reset: fn('qv_air_reset', [], null),
            // Rotation rates in rad/s about the device's x, y and z axes.
            motion: fn('qv_air_motion', [number, number, number, number]),
            button: (which, down, time) => airButton(which === 'right' ? 1 : 0, down ? 1 : 0, time),
            advance: fn('qv_air_advance', [number]),
            idle: () => fn('qv_air_idle', [], number)() !== 0,
        },
        messages: {
            hello: message('qv_hello', [string, string]),
            heartbeat: () => fn('qv_plain', [number])(2).messages[0],
            cancel: () => fn('qv_plain', [number])(14).messages[0],
            key: message('qv_key', [number, number]),
            text: message('qv_text', [string]),
        },
        voice: {
            begin: message('qv_voice_begin', [string]),
            // Samples as 32-bit floats (a Float32Array) or their bytes, 24 kHz mono.
            append: (samples) => withBytes(asBytes(samples), (p, n) => voiceAppend(p, n)).messages,
            ready: () => fn('qv_voice_ready', [])().messages,
            finish: () => fn('qv_voice_finish', [])().messages,
        },
        resume: {
            suspend: (connectedOrConnecting) => fn('qv_resume_suspend', [number], null)(connectedOrConnecting ? 1 : 0),
            take: () => fn('qv_resume_take', [], number)() !== 0,
            cancel: fn('qv_resume_cancel', [], null),
        },
        history: {
            clear: history.clear,
            add: (link) => { history.add(link); },
            select: (id) => { history.select(id); },
            remove: (id) => { history.remove(id); },
            json: () => history.json().results[0],
        },
        // The saved quick keys (JSON text as QuickKey stores it, or null): the thirteen to show,
        // and their JSON text to store.
        quickKeys(stored) {
            loadList(stored, (k) => isText(k.id) && isText(k.label) && Number.isInteger(k.code) &&
                Number.isInteger(k.flags) && (quick.key(k.id, k.label, k.code, k.flags), true));
            const random = globalThis.crypto.getRandomValues(new Uint8Array(16 * 13));
            const json = withBytes(random, (p) => quick.keys(p)).results[0];
            return { keys: JSON.parse(json), json };
        },
        quickInputs(stored) {
            loadList(stored, (i) => isText(i.id) && isText(i.label) && isText(i.text) &&
                (quick.input(i.id, i.label, i.text), true));
            const json = quick.inputs().results[0];
            return { inputs: JSON.parse(json), json };
        },
        // mode "trackpad" or "air"; language as stored: "system", "zh-Hans" or "en";
        // preferred: navigator.languages.
        pointerGuide(mode, language, preferred) {
            const [video, seenKey] = pointerGuide(mode, language, preferred.join('\n')).results;
            return { video, seenKey };
        },
    };
}
