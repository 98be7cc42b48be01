// Push to talk: while the button is held the microphone is recorded (getUserMedia, then an
// AudioWorklet that makes 24 kHz mono float) and handed to the core's voice capture, which
// holds the audio back until the host is ready. `voiceBegin` goes on the control channel;
// `audio` and `voiceEnd` on the audio channel, as the host reads them.

export function attachVoice(button, core, connection, { onError, onActive }) {
    // The audio graph outlives an utterance: made on the first press and kept (suspended
    // between presses), so that once the microphone opens its first sample has somewhere to
    // go. Made per press, the microphone ran while the worklet loaded and that stretch, the
    // first syllable, was lost.
    let graph = null; // Promise of { context, node }
    let recording = null; // { session, stream, source }
    let pressed = false;
    let utterance = null; // the core's voice session, until the host is done with it

    const sendAll = (messages) => {
        for (const message of messages)
            connection.sendAudio(message);
    };
    const prepare = () => {
        if (!graph) {
            graph = (async () => {
                const context = new AudioContext();
                try {
                    await context.audioWorklet.addModule('capture-worklet.js');
                    const node = new AudioWorkletNode(context, 'quillvane-capture', { numberOfOutputs: 0 });
                    node.port.onmessage = (event) => {
                        if (!recording || !(event.data instanceof Float32Array))
                            return;
                        try {
                            sendAll(core.voice.append(event.data));
                        } catch (error) {
                            fail(error.message);
                        }
                    };
                    return { context, node };
                } catch (error) {
                    context.close().catch(() => {});
                    throw error;
                }
            })();
            // A graph that could not be made is made again at the next press.
            graph.catch(() => {
                graph = null;
            });
        }
        graph.then(({ context }) => context.resume(), () => {}).catch(() => {});
        return graph;
    };
    const release = async (current) => {
        current.source?.disconnect();
        current.stream.getTracks().forEach((track) => track.stop());
        if (!recording)
            await (await graph).context.suspend().catch(() => {});
    };
    const fail = (text) => {
        const current = recording;
        recording = null;
        onActive(false);
        if (current) {
            release(current);
            connection.sendControl(core.messages.cancel());
        }
        if (text)
            onError(text);
    };

    const start = async () => {
        if (recording || connection.state !== 'connected')
            return;
        let stream, context, node;
        try {
            // Resumed within the press itself, as some browsers require.
            ({ context, node } = await prepare());
            stream = await navigator.mediaDevices.getUserMedia({
                audio: { channelCount: 1, echoCancellation: false, noiseSuppression: false, autoGainControl: false },
            });
        } catch (error) {
            // A refused microphone leaves the graph for the next press.
            onError('无法使用麦克风', error.message);
            return;
        }
        if (recording) {
            stream.getTracks().forEach((track) => track.stop());
            return;
        }
        const current = { session: crypto.randomUUID(), stream, source: context.createMediaStreamSource(stream) };
        recording = current;
        current.source.connect(node);
        utterance = current.session.toUpperCase();
        connection.sendControl(core.voice.begin(current.session));
        onActive(true);
        if (!pressed)
            stop();
    };

    const stop = async () => {
        const current = recording;
        if (!current)
            return;
        const { port } = (await graph).node;
        // The last partial chunk first, then the end.
        const previous = port.onmessage;
        await new Promise((resolve) => {
            const timer = setTimeout(resolve, 500);
            port.onmessage = (event) => {
                if (event.data === 'flushed') {
                    clearTimeout(timer);
                    resolve();
                } else {
                    previous(event);
                }
            };
            port.postMessage('flush');
        });
        port.onmessage = previous;
        if (recording !== current)
            return;
        recording = null;
        onActive(false);
        await release(current);
        sendAll(core.voice.finish());
    };

    button.addEventListener('pointerdown', (event) => {
        event.preventDefault();
        button.setPointerCapture?.(event.pointerId);
        pressed = true;
        start();
    });
    for (const type of ['pointerup', 'pointercancel', 'lostpointercapture'])
        button.addEventListener(type, () => {
            if (!pressed)
                return;
            pressed = false;
            stop();
        });
    button.addEventListener('contextmenu', (event) => event.preventDefault());

    return {
        // The host's answers on the control channel.
        receive(message) {
            if (!utterance || message.session?.toUpperCase() !== utterance)
                return;
            if (message.kind === 'voiceReady') {
                sendAll(core.voice.ready());
            } else if (message.kind === 'voiceDone' || message.kind === 'failure') {
                utterance = null;
                if (recording)
                    fail(message.kind === 'failure' ? message.text : undefined);
            }
        },
        // The link went away: the host has released everything already.
        abandon() {
            const current = recording;
            recording = null;
            utterance = null;
            pressed = false;
            onActive(false);
            if (current)
                release(current);
        },
    };
}
