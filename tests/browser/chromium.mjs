// Debian's chromium as the tests drive it: a phone-sized page with touch, DevTools touches,
// and the X pointer read back.
import { execFileSync } from 'node:child_process';
import puppeteer from 'puppeteer-core';

export const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

export async function waitFor(condition, what, ms = 10000) {
    const deadline = Date.now() + ms;
    for (;;) {
        const value = await condition();
        if (value)
            return value;
        if (Date.now() > deadline)
            throw new Error(`timed out waiting for ${what}`);
        await sleep(50);
    }
}

export const pointer = () => {
    const [, x, y] = /x:(\d+) y:(\d+)/.exec(execFileSync('xdotool', ['getmouselocation'], { encoding: 'utf8' }));
    return { x: Number(x), y: Number(y) };
};

// Chromium with a profile of its own in `folder`; `extra` arguments after the usual ones.
export function launch(folder, extra = []) {
    return puppeteer.launch({
        executablePath: '/usr/bin/chromium',
        acceptInsecureCerts: true,
        userDataDir: folder,
        args: ['--no-sandbox', '--headless', '--disable-gpu', '--disable-background-networking',
            '--disable-component-update', '--disable-sync', '--no-first-run', '--lang=en-US', ...extra],
    });
}

// A phone-sized page in `language` at `url`, and a DevTools session on it (`page.devtools`).
// `script`, if given, runs in the page before any of the page's own.
export async function openPage(browser, url, language = 'en-US', script = null) {
    const opened = await browser.newPage();
    await opened.setViewport({ width: 390, height: 844, deviceScaleFactor: 3, isMobile: true, hasTouch: true });
    opened.on('console', (message) => console.error(`page: ${message.text()}`));
    opened.on('pageerror', (error) => console.error(`page error: ${error.message}`));
    await opened.setExtraHTTPHeaders({ 'Accept-Language': language });
    await opened.evaluateOnNewDocument((lang) => {
        Object.defineProperty(navigator, 'language', { get: () => lang });
        Object.defineProperty(navigator, 'languages', { get: () => [lang] });
    }, language);
    if (script)
        await opened.evaluateOnNewDocument(script);
    opened.devtools = await opened.createCDPSession();
    await opened.goto(url);
    return opened;
}

export const connected = (p) => p.waitForSelector('body[data-state="connected"]', { timeout: 15000 });

// Touches through DevTools, as the page's touch events see them.
export async function fingers(page, type, points) {
    await page.devtools.send('Input.dispatchTouchEvent', { type, touchPoints: points });
}

export async function stroke(page, from, to, steps = 12) {
    await fingers(page, 'touchStart', [{ ...from, id: 1 }]);
    for (let i = 1; i <= steps; ++i) {
        await sleep(16);
        await fingers(page, 'touchMove', [{ x: from.x + ((to.x - from.x) * i) / steps, y: from.y + ((to.y - from.y) * i) / steps, id: 1 }]);
    }
    await fingers(page, 'touchEnd', []);
}

// The middle of the element `selector` in the page's coordinates.
export const middle = (page, selector) => page.$eval(selector, (e) => {
    const r = e.getBoundingClientRect();
    return { x: r.x + r.width / 2, y: r.y + r.height / 2 };
});
