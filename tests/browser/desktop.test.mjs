/** The page with a mouse and a keyboard: what is done in it happens on the desktop, and back. */

import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { before, test } from 'node:test';
import {
    eventually, openDriving, placeOf, startBrowser, startDesktop, startScreenPreview, suite, until,
    untilColoured,
} from './harness.mjs';

suite('a desktop with a mouse and a keyboard', () => {
    let desktop;
    let context;
    let page;
    before(async () => {
        desktop = await startDesktop();
        const { address } = await startScreenPreview(['stream'], desktop.display);
        context = await startBrowser({ permissions: ['clipboard-read', 'clipboard-write'] });
        await context.addInitScript(() => { // Which pictures come, as the decoder is told.
            window.times = [];
            const { decode } = window.VideoDecoder.prototype;
            window.VideoDecoder.prototype.decode = function note(chunk) {
                window.times.push(chunk.timestamp);
                return decode.call(this, chunk);
            };
        });
        page = await openDriving(context, address);
    });
    const posted = (text) => page.waitForRequest((request) => request.postData()?.includes(text));
    const click = async (x, y, options) => {
        const place = await placeOf(page, x, y);
        await page.mouse.click(place.x, place.y, options);
    };
    const press = async (...keys) => {
        for (const key of keys)
            await page.keyboard.press(key);
    };

    test('shows the picture, and records it with its times', async () => {
        await untilColoured(page);
        await page.click('#record');
        await page.waitForSelector('#record[aria-pressed="true"]');
        const count = () => page.evaluate(() => window.times.length);
        const start = await count();
        for (let place = 0; place < 20 || await count() < start + 8; ++place)
            await page.mouse.move(100 + 20 * (place % 25), 200);
        const [download] = await Promise.all([page.waitForEvent('download'), page.click('#record')]);
        const probe = (program, ...words) =>
            String(execFileSync(program, ['-v', 'error', ...words, '-']));
        const film = await download.path();
        assert.match(download.suggestedFilename(), /\.mp4$/);
        const { packets, format, streams } = JSON.parse(probe('ffprobe', '-show_packets', '-show_format',
            '-show_streams', '-of', 'json', '-i', film, '-o'));
        assert.deepEqual([streams[0].width, streams[0].height, packets[0].flags[0]], [640, 480, 'K']);
        const times = await page.evaluate(() => window.times);
        const same = (at) => packets.every(
            ({ pts }, index) => pts - packets[0].pts === times[at + index] - times[at]);
        assert.ok(packets.length > 4 && times.some((_, at) => same(at)), 'other times');
        assert.ok(format.duration * 1e6 > packets.at(-1).pts);
        assert.equal(probe('ffmpeg', '-i', film, '-f', 'null'), '');
    });

    for (const mode of ['fit', 'pixel by pixel', 'zoomed'])
        test(`clicks land where they are aimed, ${mode}`, async () => {
            if (mode === 'pixel by pixel')
                await page.click('#scale:text-is("Fit")');
            if (mode === 'zoomed') {
                await page.keyboard.down('Control');
                await page.mouse.wheel(0, -400);
                await page.keyboard.up('Control');
                await page.waitForSelector('#scale:text("%")');
            }
            for (const [x, y] of [[401, 297], [0, 0], [639, 479], [12, 470]]) {
                const events = await desktop.buttons(2, () => click(x, y));
                assert.deepEqual(events, [{ button: 'down 1', x, y }, { button: 'up 1', x, y }]);
            }
        });

    test('drags, and knows the other buttons and the wheel', async () => {
        const [from, to] = [await placeOf(page, 50, 60), await placeOf(page, 250, 160)];
        const events = await desktop.buttons(12, async () => {
            await page.mouse.move(from.x, from.y);
            await page.mouse.down({ button: 'left' });
            await page.mouse.move(to.x, to.y);
            await page.mouse.down({ button: 'right' });
            await page.mouse.up({ button: 'right' });
            await page.mouse.up({ button: 'left' });
            await page.mouse.click(to.x, to.y, { button: 'middle' });
            await page.mouse.wheel(0, 50);
            await page.mouse.wheel(0, 30);
            await page.mouse.wheel(-40, 0);
        });
        assert.deepEqual(events.map(({ button }) => button), [
            'down 1', 'down 3', 'up 3', 'up 1', 'down 2', 'up 2',
            'down 5', 'up 5', 'down 5', 'up 5', 'down 6', 'up 6']);
        const [down, , , up] = events;
        assert.deepEqual([down.x, down.y, up.x, up.y], [50, 60, 250, 160]);
    });

    test('types what comes from a keyboard or an input method, while it is composed', async () => {
        const start = desktop.events().length;
        await click(320, 240); // From here on the keys are the desktop's.
        const untilText = (text) => eventually(() => desktop.text(start) === text, text);
        await page.keyboard.type('Plain, then ');
        await page.keyboard.insertText('Grüße, žluťoučký 👋🏽 ');
        const input = await context.newCDPSession(page);
        const compose = (text) => input.send('Input.imeSetComposition', {
            text, selectionStart: text.length, selectionEnd: text.length,
        });
        const before = 'Plain, then Grüße, žluťoučký 👋🏽 ';
        await compose('こ');
        await untilText(`${before}こ`);
        await compose('こん');
        await compose('今に');
        await untilText(`${before}今に`);
        await input.send('Input.insertText', { text: '今日' });
        await page.keyboard.type('!');
        await untilText(`${before}今日!`);
    });

    test('presses keys that are no text, shortcuts and the key bar', async () => {
        const start = desktop.events().length;
        await press('Enter', 'ArrowLeft', 'F5', 'Shift+Tab', 'Control+c', 'Control+Alt+Delete');
        await page.click('#keysButton');
        await page.click('#moreButton');
        const bar = (name) => page.click(`#keys button:text-is("${name}")`);
        await bar('ctrl');
        await press('c', 'd');
        await bar('alt');
        await bar('alt'); // Until it is tapped once more.
        await press('a');
        await bar('F12');
        await bar('alt');
        await bar('ctrl+alt+del');
        await bar('ctrl');
        await click(320, 240);
        await page.waitForSelector('#notices p:text("A click goes without Ctrl")');
        await bar('pgup');
        const keys = () => desktop.events().slice(start).filter(
            ({ kind, name }) => kind === 'key' && !/_L$|_R$/.test(name));
        await eventually(() => keys().length >= 12, 'all keys');
        const [shift, control, alt] = [1, 4, 8];
        assert.deepEqual(keys().map(({ name, state }) => [name, state & (shift | control | alt)]), [
            ['Return', 0], ['Left', 0], ['F5', 0], ['ISO_Left_Tab', shift], ['c', control],
            ['Delete', control | alt], ['c', control], ['d', 0], ['a', alt], ['F12', alt],
            ['Delete', control | alt], ['Prior', control]]);
    });

    test('carries the clipboard both ways by itself', async () => {
        const xclip = (direction, options) => spawnSync(
            'xclip', ['-display', desktop.display, '-selection', 'clipboard', direction], options);
        const here = () => page.evaluate(() => navigator.clipboard.readText());
        const copied = 'Kopiert: ñ 🎈\nzwei Zeilen';
        // Once more now and then: nothing tells from when on the program listens.
        let attempts = 0;
        await eventually(async () => {
            if (attempts++ % 100 === 0)
                xclip('-i', { input: copied, stdio: ['pipe', 'ignore', 'ignore'] });
            return await here() === copied;
        }, 'the desktop\'s clipboard here');

        const start = desktop.events().length;
        await page.evaluate(() => navigator.clipboard.writeText('From here: ü 🚀'));
        await press('Control+v');
        await eventually(() => desktop.events().slice(start).some(({ name }) => name === 'v'), 'the key');
        await eventually(() => String(xclip('-o', { timeout: 2000 }).stdout) === 'From here: ü 🚀',
                         'this clipboard on the desktop');
        await page.click('#pasteHere');
        await eventually(() => desktop.text(start).endsWith('From here: ü 🚀'), 'it typed');
    });

    test('shows another display, and keeps what was chosen over a reload', async () => {
        const monitor = (name, x, output) => execFileSync('xrandr', [
            '--display', desktop.display, '--setmonitor', name, `320/80x480/120+${x}+0`, output]);
        monitor('left', 0, 'screen');
        monitor('right', 320, 'none');
        await page.fill('#rate', '900');
        const restarted = posted('"kbps":900,');
        await page.reload();
        await restarted;
        await page.selectOption('#display', { label: 'right, 320 × 480' });
        for (const again of [false, true]) {
            if (again)
                await page.reload();
            await untilColoured(page, [[100, 100, 0x20a040], [100, 400, 0xe0e0e0]]);
        }
    });
});
