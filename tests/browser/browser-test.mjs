// The browser controller from end to end, inside scripts/test-env: the real `quillvane` on the
// run's X server, Debian's chromium pairing from the link the program prints, touches sent
// through DevTools, and what arrives judged on the X server (pointer position from xdotool,
// button and wheel events on the root window from xev, typed text in a real text field).
// WebKit (WebKitGTK's WebDriver) stands in for Safari. The program runs as a user runs it: it
// stops cleanly on SIGTERM, and quillvane-controller finds it by DNS-SD.
//   node browser-test.mjs --program QUILLVANE --controller CONTROLLER --text-field TEXT-FIELD --out FOLDER
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { connect as tcpConnect } from 'node:net';
import { hostname, tmpdir } from 'node:os';
import { connect as tlsConnect } from 'node:tls';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { parseArgs } from 'node:util';
import { connected, fingers as touchOf, launch, middle, openPage as open, pointer, sleep, stroke as strokeOf, waitFor } from './chromium.mjs';
import WebSocket from 'ws';
import { openWebKit } from './webkit.mjs';

const { values: args } = parseArgs({
    options: { program: { type: 'string' }, controller: { type: 'string' }, 'text-field': { type: 'string' },
        out: { type: 'string' } },
});
if (!process.env.QUILLVANE_TEST_ENV || !process.env.DISPLAY)
    throw new Error('run inside scripts/test-env (it gives the test its X server and services)');

// A process whose standard output is kept as lines, and when each arrived; its log is passed on
// and kept as `log`.
function start(command, argv, options = {}) {
    const child = spawn(command, argv, { stdio: ['pipe', 'pipe', 'pipe'], ...options });
    child.lines = [];
    child.arrivals = [];
    child.log = '';
    child.stderr.on('data', (data) => {
        child.log += data;
        process.stderr.write(data);
    });
    let partial = '';
    child.stdout.setEncoding('utf8');
    child.stdout.on('data', (data) => {
        const parts = (partial + data).split('\n');
        partial = parts.pop();
        child.lines.push(...parts);
        child.arrivals.push(...parts.map(() => Date.now()));
    });
    return child;
}

// Events xev printed, as "+1" / "-space" (press or release, then the button or keysym), each
// with when its line reached this process.
function xevEvents(xev) {
    const out = [];
    let press = null;
    xev.lines.forEach((line, i) => {
        const head = /^(Button|Key)(Press|Release) event/.exec(line);
        if (head)
            press = head[2] === 'Press';
        const what = /button (\d+)|keysym 0x[0-9a-f]+, (\w+)/.exec(line);
        if (what && press !== null) {
            out.push({ event: `${press ? '+' : '-'}${what[1] ?? what[2]}`, at: xev.arrivals[i] });
            press = null;
        }
    });
    return out;
}

// Button events on the root window; take() gives those that came since it was last called.
class RootButtons {
    xev = start('stdbuf', ['-oL', 'xev', '-root', '-event', 'button']);
    seen = 0;
    get timed() {
        return xevEvents(this.xev);
    }
    get events() {
        return this.timed.map((e) => e.event);
    }
    take() {
        const fresh = this.events.slice(this.seen);
        this.seen += fresh.length;
        return fresh;
    }
}

let host;
let browser;
let page;
let touch; // the page touches go to
let link;
let origin;
let buttons;
let env; // the program's
let pairing; // the phone's link, as the program first printed it
const hosts = []; // every program started, for their logs
const sent = []; // the page's WebSocket frames, { at, data }
const scratch = mkdtempSync(join(tmpdir(), 'quillvane-browser-test-'));
mkdirSync(args.out, { recursive: true });

// A rising sweep at 48 kHz, 16-bit mono: every lag but the right one correlates poorly with it.
const speechRate = 48000;
const sweep = (rate, seconds = 4) => Float32Array.from({ length: rate * seconds }, (_, i) => {
    const t = i / rate;
    return 0.5 * Math.sin(2 * Math.PI * (300 * t + (2700 * t * t) / (2 * seconds)));
});
function writeSpeech(path) {
    const pcm = Buffer.from(Int16Array.from(sweep(speechRate), (v) => Math.round(v * 32767)).buffer);
    const header = Buffer.alloc(44);
    const fields = [['RIFF', 0], [36 + pcm.length, 4, 4], ['WAVEfmt ', 8], [16, 16, 4], [1, 20, 2], [1, 22, 2],
        [speechRate, 24, 4], [speechRate * 2, 28, 4], [2, 32, 2], [16, 34, 2], ['data', 36], [pcm.length, 40, 4]];
    for (const [value, at, size] of fields)
        typeof value === 'string' ? header.write(value, at) : header.writeUIntLE(value, at, size);
    writeFileSync(path, Buffer.concat([header, pcm]));
}
const speech = join(scratch, 'speech.wav');

// The page at `url`, its WebSocket frames watched.
async function openPage(url, language) {
    const opened = await open(browser, url, language);
    touch = opened;
    await opened.devtools.send('Network.enable');
    opened.devtools.on('Network.webSocketFrameSent', ({ response }) => sent.push({ at: Date.now(), data: response.payloadData }));
    return opened;
}
const fingers = (type, points) => touchOf(touch, type, points);
const stroke = (from, to) => strokeOf(touch, from, to);

before(async () => {
    // The voice plays into an installed "Quillvane Microphone", chosen as the output device.
    // Its settings are this test's own, and its keys are kept in files there: there is no session
    // bus (so no keyring) to reach.
    env = { ...process.env, XDG_CONFIG_HOME: join(scratch, 'config'), XDG_DATA_HOME: join(scratch, 'data'),
        DBUS_SESSION_BUS_ADDRESS: `unix:path=${join(scratch, 'no-session-bus')}` };
    execFileSync(args.program, ['--install-microphone'], { stdio: 'ignore', env });
    mkdirSync(join(env.XDG_CONFIG_HOME, 'quillvane'), { recursive: true });
    writeFileSync(join(env.XDG_CONFIG_HOME, 'quillvane', 'quillvane.ini'), '[General]\naudioDevice=QuillvaneMicrophone_UID\n');
    writeSpeech(speech);
    startHost();
    const line = await waitFor(() => host.lines.find((l) => l.startsWith('Browser link: ')), 'the browser link');
    pairing = await waitFor(() => host.lines.find((l) => l.startsWith('quillvane://pair?')), 'the pairing link');
    link = line.slice('Browser link: '.length);
    origin = new URL(link).origin;
    buttons = new RootButtons();
    browser = await launch(join(scratch, 'chromium'), ['--use-fake-ui-for-media-stream',
        '--use-fake-device-for-media-stream', `--use-file-for-fake-audio-capture=${speech}`]);
});

function startHost() {
    host = start(args.program, ['--headless', '--show-pairing', '--input-backend', 'x11'], { env });
    hosts.push(host);
}

after(async () => {
    await browser?.close();
    buttons?.xev.kill();
    host?.kill('SIGTERM');
    rmSync(scratch, { recursive: true, force: true });
});

// Where on the X screen the pointer tests play: away from any window, so the root window sees
// every button.
const home = { x: 1200, y: 300 };

test('pairing from the printed link gives a non-extractable key and a link without its token', async () => {
    page = await openPage(link);
    await connected(page);
    assert.equal(await page.evaluate(() => location.hash), '');
    const stored = await page.evaluate(() => new Promise((resolve, reject) => {
        const open = indexedDB.open('quillvane');
        open.onerror = () => reject(open.error);
        open.onsuccess = () => {
            const get = open.result.transaction('credential').objectStore('credential').get('browser');
            get.onsuccess = () => resolve({ type: get.result.key.type, extractable: get.result.key.extractable,
                algorithm: get.result.key.algorithm.name });
        };
    }));
    assert.deepEqual(stored, { type: 'secret', extractable: false, algorithm: 'HMAC' });
    // The computer names itself once proved; English comes from the host's catalogue; the
    // quick keys say the Control this computer posts.
    assert.deepEqual(await page.evaluate(() => [document.getElementById('host').textContent,
        document.getElementById('left').textContent, document.querySelector('#quick-keys button:nth-child(1)').textContent,
        [...document.querySelectorAll('#quick-keys button')][4].textContent]), [hostname(), 'Left', 'esc', 'Ctrl Z']);
    await page.waitForFunction(() => /\d/.test(document.getElementById('rtt').textContent), { timeout: 5000 });
    const bytes = await page.evaluate(() => performance.getEntriesByType('navigation').concat(
        performance.getEntriesByType('resource')).reduce((sum, entry) => sum + entry.encodedBodySize, 0));
    assert.ok(bytes > 100000 && bytes <= 300000, `the page loads ${bytes} bytes`);
    await page.screenshot({ path: join(args.out, 'page-en.png') });
});

test('touches move, click, scroll and drag the X pointer', async () => {
    execFileSync('xdotool', ['mousemove', String(home.x), String(home.y)]);
    const pad = await middle(page, '#pad');

    // A finger resting on the trackpad while a notice above it pushes it down stays put.
    const notice = (shown) => page.evaluate((on) => {
        const element = document.getElementById('notice');
        element.textContent = 'Reconnecting to the computer, please wait a moment';
        element.hidden = !on;
    }, shown);
    await fingers('touchStart', [{ ...pad, id: 7 }]);
    await sleep(300);
    await notice(true);
    await fingers('touchMove', [{ ...pad, id: 7 }]);
    await sleep(200);
    await fingers('touchEnd', []);
    await notice(false);
    assert.deepEqual(pointer(), home);

    // One finger right and down moves the pointer right and down.
    await stroke({ x: pad.x - 80, y: pad.y - 40 }, { x: pad.x + 40, y: pad.y + 20 });
    const moved = await waitFor(() => {
        const p = pointer();
        return p.x > home.x + 20 && p.y > home.y ? p : null;
    }, 'the pointer to move right and down');
    assert.deepEqual(buttons.take(), []);

    // A tap clicks once, where the pointer is.
    await sleep(500);
    await fingers('touchStart', [{ x: pad.x, y: pad.y, id: 2 }]);
    await fingers('touchEnd', []);
    await waitFor(() => buttons.events.length >= buttons.seen + 2, 'a click');
    await sleep(600);
    assert.deepEqual(buttons.take(), ['+1', '-1']);
    assert.deepEqual(pointer(), moved);

    // Two fingers flicked up scroll one way, and the wheel turns on after the fingers have
    // stopped sending: the page's momentum, posted by the host.
    const two = (dy) => [{ x: pad.x - 40, y: pad.y + dy, id: 3 }, { x: pad.x + 40, y: pad.y + dy, id: 4 }];
    const before = buttons.events.length;
    await fingers('touchStart', two(120));
    for (let i = 1; i <= 8; ++i) {
        await sleep(12);
        await fingers('touchMove', two(120 - i * 30));
    }
    await fingers('touchEnd', []);
    const phase = (p) => sent.find((f) => f.data.includes(`"scrollPhase":"${p}"`));
    const momentumBegan = await waitFor(() => phase('momentumBegan'), 'the page to send momentum', 3000);
    await waitFor(() => phase('momentumEnded'), 'the momentum to end', 10000);
    await sleep(500);
    const wheel = buttons.timed.slice(before).filter((e) => e.event.startsWith('+'));
    // Fingers moving up carry the content up: the wheel turns down (button 5), and only down.
    assert.ok(wheel.length > 1 && wheel.every((e) => e.event === '+5'), `wheel steps: ${wheel.map((e) => e.event)}`);
    assert.ok(wheel.some((e) => e.at > momentumBegan.at + 100), 'wheel steps well after the fingers lifted');
    buttons.take();

    // Tap, then touch again and move: the button is held while the finger drags.
    await fingers('touchStart', [{ x: pad.x, y: pad.y, id: 5 }]);
    await fingers('touchEnd', []);
    await sleep(60);
    await fingers('touchStart', [{ x: pad.x, y: pad.y, id: 6 }]);
    for (let i = 1; i <= 10; ++i) {
        await sleep(16);
        await fingers('touchMove', [{ x: pad.x + i * 6, y: pad.y + i * 3, id: 6 }]);
    }
    await waitFor(() => buttons.events.slice(buttons.seen).includes('+1'), 'the drag to press the button');
    await sleep(300);
    assert.deepEqual(buttons.take(), ['+1'], 'the button stays down while the finger is on the glass');

    // The tab closes mid-drag: the host lets the button go.
    await page.close();
    await waitFor(() => buttons.events.slice(buttons.seen).includes('-1'), 'the button released after the tab closed', 5000);
    assert.deepEqual(buttons.take(), ['-1']);
});

test('typing "Hello, 世界" in the keyboard field reaches a text field on X; Return is a key', async () => {
    page = await openPage(origin + '/', 'zh-CN');
    await connected(page);
    await page.waitForFunction(() => /^往返 \d+ 毫秒$/.test(document.getElementById('rtt').textContent), { timeout: 5000 });
    await page.screenshot({ path: join(args.out, 'page-zh.png') });
    assert.equal(await page.$eval('#left', (e) => e.textContent), '左键');
    const field = start(args['text-field'], [], { env: { ...process.env, QT_QPA_PLATFORM: 'xcb' } });
    try {
        // What a window manager would do for the window a person clicks into.
        const id = await waitFor(() => {
            try {
                return execFileSync('xdotool', ['search', '--sync', '--onlyvisible', '--pid', String(field.pid)],
                    { encoding: 'utf8' }).trim().split('\n')[0];
            } catch {
                return null;
            }
        }, 'the text field window');
        execFileSync('xdotool', ['windowfocus', '--sync', id]);
        await waitFor(() => field.lines.includes('focused'), 'the text field to have the keyboard');
        await page.tap('#keyboard');
        await page.focus('#field');
        await page.screenshot({ path: join(args.out, 'page-zh-keyboard.png') });
        await page.keyboard.type('Hello, 世界');
        await waitFor(() => field.lines.includes('text: Hello, 世界'), `the text on X (got ${field.lines.at(-1)})`);
        await page.keyboard.press('Enter');
        await page.keyboard.type('ok');
        await waitFor(() => field.lines.includes('text: Hello, 世界\\nok'), `Return and more text (got ${field.lines.at(-1)})`);
        assert.equal(await page.$eval('#field', (e) => e.value), '');
    } finally {
        field.kill();
    }
});

// Normalised correlation of reference[from, from + length) with recording[at, at + length).
function correlation(recording, at, reference, from, length) {
    let product = 0;
    let energy = 0;
    let referenceEnergy = 0;
    for (let i = 0; i < length; ++i) {
        const x = recording[at + i];
        const y = reference[from + i];
        product += x * y;
        energy += x * x;
        referenceEnergy += y * y;
    }
    return energy > 0 ? product / Math.sqrt(energy * referenceEnergy) : 0;
}

test('holding the talk button speaks into "Quillvane Microphone" with the shortcut held', async () => {
    // The shortcut as the focused window sees it.
    const keys = start('stdbuf', ['-oL', 'xev', '-event', 'keyboard', '-geometry', '200x100+0+0']);
    const window = await waitFor(() => /Outer window is (0x[0-9a-f]+)/.exec(keys.lines.join('\n'))?.[1], 'the key window');
    execFileSync('xdotool', ['windowfocus', '--sync', window]);
    const recorder = spawn('parec', ['--device=QuillvaneMicrophone', '--format=float32le', '--rate=24000',
        '--channels=1', '--latency-msec=10'], { stdio: ['ignore', 'pipe', 'inherit'] });
    const chunks = [];
    recorder.stdout.on('data', (chunk) => chunks.push(chunk));
    try {
        await sleep(500);
        const talk = await middle(page, '#talk');
        await fingers('touchStart', [{ ...talk, id: 9 }]);
        await page.waitForSelector('body.talking');
        await sleep(3500);
        await fingers('touchEnd', []);
        const released = Date.now();
        await waitFor(() => sent.some((f) => f.data.includes('"voiceEnd"')), 'the end of the voice');
        await sleep(1500);
        const keyEvents = xevEvents(keys);
        // Pressed once and let go after the button (the server's autorepeat may come between).
        const space = keyEvents.filter((e) => e.event.endsWith('space'));
        assert.equal(space[0]?.event, '+space', `the shortcut: ${keyEvents.slice(0, 6).map((e) => e.event)}`);
        assert.equal(space.at(-1).event, '-space');
        assert.ok(space.at(-1).at >= released, 'the shortcut is held until the button is let go');

        const bytes = Buffer.concat(chunks);
        writeFileSync(join(args.out, 'microphone.f32'), bytes);
        const recording = new Float32Array(bytes.buffer, bytes.byteOffset, Math.floor(bytes.length / 4));
        const reference = sweep(24000);
        const sound = recording.findIndex((v) => Math.abs(v) > 0.05);
        assert.ok(sound >= 0, 'something reached the microphone');
        // Each 50 ms of the recording is aligned on its own, near where the one before it was
        // (the fake device's clock and the sound server's resampling wander a little, and a
        // machine under load may lose a few milliseconds on the way), and nearly all must be
        // the sweep's, from the first sound on. (Where in the file that is, this test cannot
        // hold the page to: Chromium's fake capture starts 10 to 500 ms into it here.)
        const piece = 1200;
        const first = sound;
        const last = recording.findLastIndex((v) => Math.abs(v) > 0.05);
        const pieces = Math.floor(Math.min(36000, last - first) / piece);
        assert.ok(pieces >= 20, `at least a second was heard (${pieces} pieces)`);
        let expected = null;
        const values = [];
        for (let k = 0; k < pieces; ++k) {
            const at = first + k * piece;
            let best = { from: 0, value: -1 };
            const [low, high] = expected === null ? [0, reference.length - piece] : [expected - 480, expected + 480];
            for (let from = Math.max(0, low); from <= Math.min(high, reference.length - piece); ++from) {
                const value = correlation(recording, at, reference, from, piece);
                if (value > best.value)
                    best = { from, value };
            }
            values.push(best.value);
            expected = best.from + piece;
        }
        const good = values.filter((v) => v >= 0.9).length;
        assert.ok(good >= 0.9 * pieces, `the recording is the speech: ${values.map((v) => v.toFixed(2))}`);
    } finally {
        recorder.kill();
        keys.kill();
    }
});

// A bare WebSocket to /ws with the page's own origin; its frames as JSON.
function socket() {
    const ws = new WebSocket(origin.replace('https:', 'wss:') + '/ws', { headers: { Origin: origin }, rejectUnauthorized: false });
    ws.frames = [];
    ws.on('message', (data) => ws.frames.push(JSON.parse(String(data))));
    ws.on('error', () => {});
    return ws;
}

// The host's refusals (a used or expired token, a foreign origin, a wrong or replayed proof, a
// silent socket) are WebEndpointTest's, against the same endpoint; here, the page's side.
test('a computer whose proof is wrong (here, altered on its way) is left, and the page says why', async () => {
    const impostor = await browser.newPage();
    await impostor.evaluateOnNewDocument(() => {
        const set = Object.getOwnPropertyDescriptor(WebSocket.prototype, 'onmessage').set;
        Object.defineProperty(WebSocket.prototype, 'onmessage', { set(handler) {
            set.call(this, (event) => handler(!event.data.includes('"proven"') ? event : new MessageEvent('message',
                { data: JSON.stringify({ ...JSON.parse(event.data), proof: btoa('\0'.repeat(32)) }) })));
        } });
    });
    await impostor.goto(origin + '/');
    await impostor.waitForFunction(() => document.getElementById('notice').textContent, { timeout: 10000 });
    assert.match(await impostor.$eval('#notice', (e) => e.textContent), /^The computer’s proof is wrong/);
    assert.equal(await impostor.$eval('body', (b) => b.dataset.state), 'stopped');
    assert.notEqual(await impostor.$eval('#host', (e) => e.textContent), hostname());
    await impostor.close();
});

test('SIGTERM stops the program cleanly; the page reconnects by itself when it comes back, on the same port', async () => {
    assert.equal(host.exitCode, null, 'the program was already gone');
    host.kill('SIGTERM');
    assert.deepEqual(await once(host, 'close'), [0, null]);
    assert.equal(host.lines.at(-1), 'Stopped.');
    await page.waitForSelector('body[data-state="disconnected"]', { timeout: 10000 });
    startHost();
    await connected(page);
    assert.equal(new URL(page.url()).origin, origin);
    execFileSync('xdotool', ['mousemove', String(home.x), String(home.y)]);
    const before = pointer();
    const pad = await middle(page, '#pad');
    await stroke({ x: pad.x - 60, y: pad.y }, { x: pad.x + 60, y: pad.y });
    await waitFor(() => pointer().x > before.x + 20, 'the pointer to move after the reconnection');
});

// The phone is the command-line controller with the link printed before the restart: it finds the
// program by DNS-SD, and binds with the key the program kept.
test('half-open TLS and WebSocket connections to the page\'s port do not keep the phone out', async () => {
    await page.close();
    await waitFor(() => host.lines.some((l) => l.startsWith('Status: ') && /wait/i.test(l)), 'the host to wait for a phone');
    const port = Number(new URL(origin).port);
    const flood = [
        ...Array.from({ length: 30 }, () => tcpConnect({ host: '127.0.0.1', port })),
        ...Array.from({ length: 30 }, () => tlsConnect({ host: '127.0.0.1', port, rejectUnauthorized: false })),
    ];
    for (const connection of flood)
        connection.on('error', () => {});
    const sockets = Array.from({ length: 20 }, () => socket());
    await waitFor(() => sockets.every((ws) => ws.frames.length || ws.readyState === WebSocket.CLOSED), 'the WebSockets to be answered');
    const phone = start(args.controller, [pairing]);
    try {
        await waitFor(() => ['control', 'audio'].every((channel) => phone.lines.some((l) => l.startsWith(`${channel} {"kind":"welcome"`))),
            'the phone to bind both channels');
        assert.ok(flood.some((c) => !c.destroyed), 'the flood was still there');
        const key = pairing.split('key=')[1];
        assert.ok(key.length === 64 && !hosts.some((h) => h.log.includes(key)), 'the key never reaches the log');
    } finally {
        phone.kill();
        flood.forEach((c) => c.destroy());
        sockets.forEach((ws) => ws.terminate());
    }
});

// Run in a page before its own scripts: every WebSocket fails before it opens, as Safari's do to a
// self-signed certificate, or with `hang` never answers until the page gives up and closes it;
// `socketsTried` counts them.
const breakSockets = (hang) => `(${(hangs) => {
    window.socketsTried = 0;
    window.WebSocket = class {
        constructor() {
            ++window.socketsTried;
            if (!hangs)
                setTimeout(() => this.close());
        }
        close() {
            if (!this.closed) {
                this.closed = true;
                this.onerror?.(new Event('error'));
                this.onclose?.(new CloseEvent('close'));
            }
        }
    };
}})(${hang});`;

test('where WebSockets hang, the page connects over the event stream and keeps to it', async () => {
    const streamed = await open(browser, origin + '/', 'en-US', breakSockets(true));
    try {
        await connected(streamed);
        // The heartbeat's answer came down the stream; the audio channel tried no WebSocket.
        await streamed.waitForFunction(() => /\d/.test(document.getElementById('rtt').textContent), { timeout: 5000 });
        assert.equal(await streamed.evaluate(() => window.socketsTried), 1);
        execFileSync('xdotool', ['mousemove', String(home.x), String(home.y)]);
        const pad = await middle(streamed, '#pad');
        await strokeOf(streamed, { x: pad.x - 60, y: pad.y }, { x: pad.x + 60, y: pad.y });
        await waitFor(() => pointer().x > home.x + 20, 'the pointer to move over the event stream');
    } finally {
        await streamed.close();
    }
});

test('in WebKit, as in Safari, the page pairs, names the computer and moves the pointer', async () => {
    const fresh = host.lines.findLast((l) => l.startsWith('Browser link: ')).slice('Browser link: '.length);
    const webkit = await openWebKit(fresh);
    try {
        await waitFor(async () => (await webkit.run('return document.body.dataset.state')) === 'connected', 'WebKit to connect', 15000);
        assert.deepEqual(await webkit.run(`return [document.getElementById('host').textContent,
            document.getElementById('left').textContent]`), [hostname(), 'Left']);
        // WebKitGTK paints a moment after the page changes; the picture is for a person to look at.
        await waitFor(async () => /\d/.test(await webkit.run(`return document.getElementById('rtt').textContent`)), 'the round trip');
        await sleep(1000);
        await webkit.screenshot(join(args.out, 'page-webkit.png'));
        execFileSync('xdotool', ['mousemove', String(home.x), String(home.y)]);
        const before = pointer();
        await webkit.stroke('#pad', -60, 12);
        await waitFor(() => pointer().x > before.x + 20, 'the pointer to move from WebKit');
        // The same page again with WebSockets failing: WebKit's event stream and requests carry it.
        await webkit.run(`${breakSockets(false)} document.getElementById('connect').click();
            document.getElementById('connect').click();`);
        await waitFor(async () => (await webkit.run('return document.body.dataset.state')) === 'connected', 'WebKit to connect over the event stream');
        assert.equal(await webkit.run('return window.socketsTried'), 1);
        execFileSync('xdotool', ['mousemove', String(home.x), String(home.y)]);
        await webkit.stroke('#pad', -60, 12);
        await waitFor(() => pointer().x > home.x + 20, 'the pointer to move over WebKit\'s event stream');
    } finally {
        await webkit.close();
    }
});
