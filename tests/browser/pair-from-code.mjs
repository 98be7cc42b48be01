// A phone's browser pairing from the link scanned off the window's browser code: Debian's
// chromium opens it, connects, and one finger moved right moves the X pointer right. Exits 0
// when it did; says what went wrong otherwise.
//   node pair-from-code.mjs LINK
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { connected, launch, middle, openPage, pointer, stroke, waitFor } from './chromium.mjs';

const folder = mkdtempSync(join(tmpdir(), 'quillvane-chromium-'));
const browser = await launch(folder);
try {
    const page = await openPage(browser, process.argv[2]);
    await connected(page);
    const before = pointer();
    const pad = await middle(page, '#pad');
    await stroke(page, { x: pad.x - 60, y: pad.y }, { x: pad.x + 60, y: pad.y });
    await waitFor(() => pointer().x > before.x + 20, `the pointer to move right of ${before.x}`);
} finally {
    await browser.close();
    rmSync(folder, { recursive: true, force: true });
}
