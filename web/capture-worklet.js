// The microphone's samples as the host takes them: mono, 24 kHz, 32-bit float, in chunks of
// 100 ms posted to the page. Channels are averaged; the rate is converted by linear
// interpolation, carried across render quanta so that no sample is lost or doubled at the seams.
const outputRate = 24000;
const chunkSamples = 2400;

class CaptureProcessor extends AudioWorkletProcessor {
    constructor() {
        super();
        this.step = sampleRate / outputRate;
        this.position = 0; // of the next output sample, relative to this quantum's first input
        this.previous = 0; // the last input sample of the previous quantum (index -1)
        this.chunk = new Float32Array(chunkSamples);
        this.filled = 0;
        this.port.onmessage = (event) => {
            if (event.data === 'flush') {
                this.post();
                this.port.postMessage('flushed');
                // The next utterance starts afresh; nothing of this one is interpolated into it.
                this.position = 0;
                this.previous = 0;
            }
        };
    }

    post() {
        if (!this.filled)
            return;
        const chunk = this.chunk.slice(0, this.filled);
        this.port.postMessage(chunk, [chunk.buffer]);
        this.filled = 0;
    }

    process(inputs) {
        const channels = inputs[0];
        if (!channels || !channels.length)
            return true;
        const length = channels[0].length;
        const mono = new Float32Array(length);
        for (const channel of channels)
            for (let i = 0; i < length; ++i)
                mono[i] += channel[i] / channels.length;
        let t = this.position;
        while (t <= length - 1) {
            const i = Math.floor(t);
            const a = i < 0 ? this.previous : mono[i];
            const b = mono[i + 1] ?? a;
            this.chunk[this.filled++] = a + (b - a) * (t - i);
            if (this.filled === chunkSamples)
                this.post();
            t += this.step;
        }
        this.position = t - length;
        this.previous = mono[length - 1];
        return true;
    }
}

registerProcessor('quillvane-capture', CaptureProcessor);
