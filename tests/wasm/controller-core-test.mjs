// The WebAssembly build of the controller half under Node: every trace of tests/data/traces,
// driven through the page's API as ControllerReplay drives the native recognisers, must make
// byte for byte the messages and vibrations `quillvane-controller --print-trace` prints; and
// the wrapper must hand the page the core's rules and refusals, in at most 150 KB gzipped.
//   node controller-core-test.mjs CORE.mjs NATIVE-CONTROLLER TRACE-DIR
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { join, resolve } from 'node:path';
import { gzipSync } from 'node:zlib';
import { pathToFileURL } from 'node:url';

const [corePath, nativeController, traceDir] = process.argv.slice(2);
const { loadCore, CoreError } = await import(pathToFileURL(resolve(corePath)).href);
const core = await loadCore({ wasmBinary: readFileSync(corePath.replace(/\.mjs$/, '.wasm')) });

const frameInterval = 1 / 120;
const tailLimit = 10;

// The order ControllerReplay plays a trace in: each event at its time, a frame tick every
// interval from the first event (an event first on a tie), ticks on until both are idle.
function replay(trace) {
    const settings = trace.settings ?? {};
    core.trackpad.configure(settings);
    core.trackpad.reset();
    core.airMouse.reset();
    const events = trace.events;
    const lines = [];
    const print = (outputs) => {
        for (const output of outputs)
            for (const message of output.messages)
                lines.push(`sent ${message}`);
        for (const output of outputs)
            for (const haptic of output.haptics)
                lines.push(`haptic ${haptic}`);
    };
    const start = events.length ? events[0][0] : 0;
    let next = 0;
    let tick = 0;
    for (let finished = events.length === 0; !finished;) {
        const tickTime = start + tick * frameInterval;
        if (next < events.length && events[next][0] <= tickTime) {
            const [time, kind, ...rest] = events[next++];
            if (kind === 'motion')
                print([core.airMouse.motion(...rest, time)]);
            else if (kind === 'press' || kind === 'release')
                print([core.airMouse.button(rest[0], kind === 'press', time)]);
            else
                print([core.trackpad.touch(Math.trunc(rest[0]), rest[1], rest[2], time, kind)]);
        } else {
            ++tick;
            print([core.trackpad.advance(tickTime), core.airMouse.advance(tickTime)]);
            finished = next === events.length &&
                ((core.trackpad.idle() && core.airMouse.idle()) ||
                 tickTime - events[events.length - 1][0] >= tailLimit);
        }
    }
    return lines;
}

const traces = readdirSync(traceDir).filter((name) => name.endsWith('.json')).sort();
assert.ok(traces.length > 0, `no traces in ${traceDir}`);
for (const name of traces) {
    const path = join(traceDir, name);
    const native = execFileSync(nativeController, ['--print-trace', path], { encoding: 'utf8' })
        .split('\n').filter(Boolean);
    const wasm = replay(JSON.parse(readFileSync(path, 'utf8')));
    assert.ok(native.length > 0, `${name}: the native build sent nothing`);
    assert.deepEqual(wasm, native, `${name}: the WebAssembly build differs`);
}

// The page's own messages, quick keys and refusals.
assert.equal(core.messages.key(36, 0x100000), '{"kind":"key","version":1,"keyCode":36,"modifiers":1048576}');
assert.equal(core.messages.text('Hello, 世界'), '{"kind":"text","version":1,"text":"Hello, 世界"}');
const { keys } = core.quickKeys('not json');
assert.deepEqual(keys.map((k) => k.label).slice(0, 4), ['esc', 'tab ⇥', '⇧ tab', '⌫']);
const four = keys.slice(0, 4).map((k, i) => ({ ...k, label: 'ABCD'[i] }));
assert.deepEqual(core.quickKeys(JSON.stringify(four)).keys.slice(4, 8).map((k) => k.label), ['A', 'B', 'C', 'D']);
core.voice.begin('8D2E5B7A-1C3F-4E6A-9B8D-0F1E2D3C4B5A');
assert.throws(() => core.voice.append(new Uint8Array(3)), (e) => e instanceof CoreError && e.message === '无效音频分包');
assert.deepEqual(core.voice.append(new Float32Array(4)), []); // held back until voiceReady
assert.equal(core.voice.ready().length, 1);

// What a phone downloads for the core: the module and its loader, compressed as a server sends them.
const shipped = [corePath, corePath.replace(/\.mjs$/, '.wasm')]
    .reduce((sum, file) => sum + gzipSync(readFileSync(file), { level: 9 }).length, 0);
assert.ok(shipped <= 150 * 1024, `the core is ${shipped} bytes gzipped, more than 150 KB`);

console.log(`${traces.length} traces identical in WebAssembly and natively; wrapper checks passed; ${shipped} bytes gzipped`);
