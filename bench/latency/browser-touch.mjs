// The phone's browser for bench_browser_latency: Debian's chromium opens the page from the
// host's browser link (on loopback), and once it is connected one finger rests on the trackpad,
// then sweeps right and left, each touch move dispatched through DevTools when it falls due.
// Prints one JSON line: when each move was dispatched (process.hrtime, CLOCK_MONOTONIC on Linux,
// in nanoseconds), each move message the page sent with the number of touch moves it had seen by
// then, when DevTools saw its frame leave (the same clock) and how long after the page was handed
// the latest move it was sent (milliseconds), and the bytes and files the page loaded.
// Then the same sweep on a bare page of the same origin, which only notes each move: how long
// after a touch's own time stamp this browser hands a move to a page that does nothing else, in
// the same run as the page's own figure ("handed").
// With --transport stream every WebSocket the page makes fails at once, as a browser's that refuses
// the certificate for it, and the page carries its messages over the event stream and POSTs; then
// the moves are read from the POST bodies, and DevTools stamps each request as it leaves.
//   node browser-touch.mjs --link LINK --moves N --interval MS --step PX --leg MOVES --rest MS
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { parseArgs } from 'node:util';
import { connected, fingers, launch, middle, openPage, sleep } from '../../tests/browser/chromium.mjs';

const now = () => process.hrtime.bigint();
const started = now();
const { values } = parseArgs({
    options: Object.fromEntries(['link', 'moves', 'interval', 'step', 'leg', 'rest', 'transport'].map((name) => [name, { type: 'string' }])),
});
const [moves, interval, step, leg, rest] = ['moves', 'interval', 'step', 'leg', 'rest'].map((name) => Number(values[name]));

// Runs in the page before its own scripts. A message carries the touches the page had been handed
// when it left (counted at the earliest event the browser fires for a touch move): the count ties
// each touch to the message that took it, however the page batches.
function watchMoves() {
    const sent = [];
    let touches = 0;
    let handedOver = 0;
    window.benchMoves = sent;
    const earliest = 'onpointerrawupdate' in window ? 'pointerrawupdate' : 'pointermove';
    // A browser that has several moves waiting hands them over as one event. This listener runs
    // before the page's own, so it also notes when the page was handed the event.
    window.benchHanded = [];
    addEventListener(earliest, (event) => {
        if (event.pointerType !== 'touch')
            return;
        touches += Math.max(1, event.getCoalescedEvents?.().length ?? 1);
        handedOver = performance.now();
        window.benchHanded.push(handedOver - event.timeStamp);
    }, { capture: true, passive: true });
    window.benchTouches = () => touches;
    const note = (text) => {
        if (typeof text === 'string' && text.includes('"kind":"move"'))
            sent.push([touches, text, performance.now() - handedOver]);
    };
    if (window.benchStream) {
        window.WebSocket = class {
            constructor() {
                setTimeout(() => this.onerror?.(new Event('error')));
            }
            close() {}
        };
        const post = window.fetch;
        window.fetch = function (url, options) {
            if (options?.method === 'POST')
                String(options.body).split('\n').forEach(note);
            return post.call(this, url, options);
        };
        return;
    }
    const send = WebSocket.prototype.send;
    WebSocket.prototype.send = function (data) {
        note(data);
        return send.call(this, data);
    };
}

// One finger rests on the middle of the page's #pad, then sweeps; returns when each move was
// dispatched.
async function sweep(page) {
    const pad = await middle(page, '#pad');
    let x = pad.x - (leg * step) / 2;
    await fingers(page, 'touchStart', [{ x, y: pad.y, id: 1 }]);
    await sleep(rest);
    // A touch panel reports on its own clock, whatever the page is doing: a move is not held
    // back until the browser has handled the one before.
    const sent = [];
    const dispatched = [];
    const first = now();
    for (let i = 0; i < moves; ++i) {
        const wait = Number(first + BigInt(Math.round(i * interval * 1e6)) - now()) / 1e6;
        if (wait > 0)
            await sleep(wait);
        x += Math.floor(i / leg) % 2 === 0 ? step : -step;
        sent.push(String(now()));
        dispatched.push(fingers(page, 'touchMove', [{ x, y: pad.y, id: 1 }]));
    }
    await Promise.all(dispatched);
    await fingers(page, 'touchEnd', []);
    await sleep(300);
    return sent;
}

const folder = mkdtempSync(join(tmpdir(), 'quillvane-bench-chromium-'));
const browser = await launch(folder);
try {
    // The link names the machine's network address; the benchmark keeps to loopback.
    const url = new URL(values.link);
    url.hostname = '127.0.0.1';
    const stream = values.transport === 'stream';
    const page = await openPage(browser, url.href, 'en-US', stream ? `window.benchStream = true; (${watchMoves})();` : watchMoves);
    await connected(page);
    const load = await page.evaluate(() => {
        const entries = performance.getEntriesByType('navigation').concat(performance.getEntriesByType('resource'));
        return { bytes: entries.reduce((sum, entry) => sum + entry.encodedBodySize, 0), files: entries.length };
    });

    // DevTools stamps each WebSocket frame, or each request, as it leaves, on the same monotonic
    // clock; a request's stamp is each of its moves'.
    const frames = [];
    const stamp = (timestamp, text) => {
        for (const line of text.split('\n'))
            if (line.includes('"kind":"move"'))
                frames.push(String(Math.round(timestamp * 1e9)));
    };
    page.devtools.on('Network.webSocketFrameSent', ({ timestamp, response }) => stamp(timestamp, response.payloadData));
    page.devtools.on('Network.requestWillBeSent', ({ timestamp, request }) => {
        if (request.method === 'POST')
            stamp(timestamp, request.postData ?? '');
    });
    await page.devtools.send('Network.enable');

    const sent = await sweep(page);
    const messages = (await page.evaluate(() => window.benchMoves)).map(([touches, text, handling], i) => {
        const message = JSON.parse(text);
        return [touches, message.x ?? 0, message.y ?? 0, frames[i] ?? '0', handling];
    });
    const touches = await page.evaluate(() => window.benchTouches());
    const handed = await page.evaluate(() => window.benchHanded);
    const viewport = page.viewport();
    await page.close();

    // An unknown path of the same origin (its 404 says so in the console, not shown): a document
    // in the same secure context, emptied.
    const bare = await browser.newPage();
    await bare.setViewport(viewport);
    await bare.evaluateOnNewDocument(watchMoves);
    bare.devtools = await bare.createCDPSession();
    await bare.goto(new URL('/bare', url).href);
    await bare.evaluate(() => {
        document.documentElement.innerHTML = '<body style="margin:0"><div id="pad" style="position:fixed;inset:0;touch-action:none"></div></body>';
    });
    await sweep(bare);
    const bareHanded = await bare.evaluate(() => window.benchHanded);
    console.log(JSON.stringify({ started: String(started), ended: String(now()), ...load, sent, touches, messages, handed, bareHanded }));
} finally {
    await browser.close();
    rmSync(folder, { recursive: true, force: true });
}
