// WebKit, the engine of Safari, through WebKitGTK's WebDriver: enough of the protocol to open a
// page that trusts the host's own certificate and run scripts in it. WebKitGTK has no touch
// screen to drive, so fingers are played to the page as the pointer events a touch makes.
import { spawn } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { sleep, waitFor } from './chromium.mjs';

const freePort = () => new Promise((resolve) => {
    const server = createServer().listen(0, '127.0.0.1', () => {
        const { port } = server.address();
        server.close(() => resolve(port));
    });
});

export async function openWebKit(url) {
    const port = await freePort();
    const driver = spawn('WebKitWebDriver', [`--port=${port}`], { stdio: 'ignore' });
    const call = async (method, path, body) => {
        const response = await fetch(`http://127.0.0.1:${port}${path}`, { method,
            headers: { 'content-type': 'application/json' }, body: body && JSON.stringify(body) });
        const { value } = await response.json();
        if (value?.error)
            throw new Error(`WebDriver ${path}: ${value.message}`);
        return value;
    };
    const session = await waitFor(() => call('POST', '/session',
        { capabilities: { alwaysMatch: { acceptInsecureCerts: true } } }).catch(() => null), 'WebKit to start');
    const path = `/session/${session.sessionId}`;
    await call('POST', `${path}/window/rect`, { width: 390, height: 844 });
    await call('POST', `${path}/url`, { url });
    return {
        run: (script, ...args) => call('POST', `${path}/execute/sync`, { script, args }),
        screenshot: async (file) => writeFileSync(file, Buffer.from(await call('GET', `${path}/screenshot`), 'base64')),
        // One finger from `dx` to `dx + steps * 10` across the middle of `selector`, 16 ms a step.
        async stroke(selector, dx, steps) {
            const finger = (type, x) => this.run(`const surface = document.querySelector(arguments[0]);
                const box = surface.getBoundingClientRect();
                surface.dispatchEvent(new PointerEvent(arguments[1], { bubbles: true, cancelable: true, pointerId: 2,
                    pointerType: 'touch', isPrimary: true, clientX: box.left + box.width / 2 + arguments[2],
                    clientY: box.top + box.height / 2 }));`, selector, type, x);
            await finger('pointerdown', dx);
            for (let i = 1; i <= steps; ++i) {
                await sleep(16);
                await finger('pointermove', dx + i * 10);
            }
            await finger('pointerup', dx + steps * 10);
        },
        async close() {
            await call('DELETE', path).catch(() => {});
            driver.kill();
        },
    };
}
