// The cost of one touch sample through TrackpadGesture in the WebAssembly build under Node,
// through the page's API: the same circling finger as bench_controller, each report handed to
// trackpad.touch() and its messages taken as JSON text. Prints one line.
//   node touch-sample.mjs build-wasm/quillvane-core.mjs
import { readFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

const corePath = resolve(process.argv[2]);
const { loadCore } = await import(pathToFileURL(corePath).href);
const core = await loadCore({ wasmBinary: readFileSync(corePath.replace(/\.mjs$/, '.wasm')) });

const strokes = 200;
const samplesPerStroke = 1000;
let time = 0;
let bytes = 0;
const start = process.hrtime.bigint();
for (let stroke = 0; stroke < strokes; ++stroke) {
    let x = 400, y = 300;
    for (let i = 0; i <= samplesPerStroke; ++i) {
        const phase = i === 0 ? 'began' : i === samplesPerStroke ? 'ended' : 'moved';
        x += 3 * Math.cos(i / 40);
        y += 3 * Math.sin(i / 40);
        for (const message of core.trackpad.touch(1, x, y, time, phase).messages)
            bytes += message.length;
        time += 1 / 120;
    }
    time += 1;
    core.trackpad.advance(time);
}
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
const samples = strokes * (samplesPerStroke + 1);
console.log(`trackpad touch sample, WebAssembly under Node: ${(seconds / samples * 1e6).toFixed(3)} us ` +
    `(${samples} samples, ${bytes} bytes of messages)`);
