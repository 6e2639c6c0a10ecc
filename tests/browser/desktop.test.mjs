/** The page with a mouse and a keyboard: what is done in it happens on the desktop, and back. */

import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { before, test } from 'node:test';
import {
    eventually, openDriving, placeOf, program, startBrowser, startDesktop, startPreview, suite,
    untilColoured,
} from './harness.mjs';

suite('a desktop with a mouse and a keyboard', () => {
    let [desktop, context, page] = [];
    before(async () => {
        desktop = await startDesktop();
        context = await startBrowser({ permissions: ['clipboard-read', 'clipboard-write'] });
        await context.addInitScript(() => { // Which pictures come, as the decoder is told.
            window.times = [];
            const { decode } = window.VideoDecoder.prototype;
            window.VideoDecoder.prototype.decode = function note(chunk) {
                window.times.push(chunk.timestamp);
                return decode.call(this, chunk);
            };
        });
        page = await openDriving(context, (await startPreview(program, desktop)).address);
    });
    const click = async (x, y) => page.mouse.click(...await placeOf(page, x, y));
    const times = () => page.evaluate(() => window.times);

    test('shows the picture, and saves it and its times', async () => {
        const save = async (button) => (await Promise.all(
            [page.waitForEvent('download'), page.click(button)]))[0].path();
        const probe = (file, entries) => execFileSync('ffprobe', [
            '-v', 'error', '-show_entries', entries, '-of', 'csv=p=0', file]).toString().trim();
        await untilColoured(page);
        const screenshot = await save('#screenshot');
        assert.equal(probe(screenshot, 'stream=codec_name,width,height'), 'png,640,480');
        await page.click('#record');
        const { length } = await times();
        for (let place = 0; (await times()).length < length + 8; ++place)
            await page.mouse.move(100 + 20 * (place % 25), 200);
        const film = await save('#record');
        assert.equal(probe(film, 'stream=codec_name,width,height'), 'h264,640,480');
        const got = probe(film, 'packet=pts').split('\n').map(Number);
        const all = await times();
        const agree = (from) => got.every((time, at) => time === all[from + at] - all[from]);
        assert.ok(got.length > 4 && all.some((_, from) => agree(from)), `${got} of ${all}`);
        assert.ok(probe(film, 'format=duration') * 1e6 > got.at(-1));
        const complaints = spawnSync('ffmpeg', ['-v', 'error', '-i', film, '-f', 'null', '-']).stderr;
        assert.equal(String(complaints), '');
    });

    for (const mode of ['Fit', '1:1', '%'])
        test(`clicks land where they are aimed, the view at ${mode}`, async () => {
            if (mode === '1:1')
                await page.click('#scale');
            await page.keyboard.down('Control');
            if (mode === '%')
                await page.mouse.wheel(0, -400);
            await page.keyboard.up('Control');
            await page.waitForSelector(`#scale:text("${mode}")`);
            for (const place of [[401, 297], [0, 0], [639, 479], [12, 470]])
                assert.deepEqual(await desktop.buttons(2, () => click(...place)),
                                 [['down 1', ...place], ['up 1', ...place]]);
        });

    test('drags, and knows the other buttons and the wheel', async () => {
        const [from, to] = [await placeOf(page, 50, 60), await placeOf(page, 250, 160)];
        const events = await desktop.buttons(12, async () => {
            await page.mouse.move(...from);
            await page.mouse.down();
            await page.mouse.move(...to);
            await page.mouse.click(...to, { button: 'right' });
            await page.mouse.up();
            await page.mouse.click(...to, { button: 'middle' });
            for (const way of [[0, 50], [0, 30], [-40, 0]])
                await page.mouse.wheel(...way);
        });
        const numbers = [1, 3, 3, 1, 2, 2, 5, 5, 5, 5, 6, 6];
        assert.deepEqual(events.map(([button]) => Number(button.at(-1))), numbers);
        assert.deepEqual([events[0], events[3]], [['down 1', 50, 60], ['up 1', 250, 160]]);
    });

    test('types what comes from a keyboard or an input method, while it is composed', async () => {
        const start = desktop.events().length;
        await click(320, 240); // From here on the keys are the desktop's.
        const input = await context.newCDPSession(page);
        const compose = (text) => input.send('Input.imeSetComposition', {
            text, selectionStart: text.length, selectionEnd: text.length });
        for (const [act, text] of [
            [() => page.keyboard.type('Plain, '), 'Plain, '],
            [() => page.keyboard.insertText('ž 👋🏽 '), 'Plain, ž 👋🏽 '],
            [() => compose('こ'), 'Plain, ž 👋🏽 こ'],
            [() => compose('こん').then(() => compose('今に')), 'Plain, ž 👋🏽 今に'],
            [() => input.send('Input.insertText', { text: '今日' }), 'Plain, ž 👋🏽 今日'],
            [() => page.keyboard.type('!'), 'Plain, ž 👋🏽 今日!']]) {
            await act();
            await eventually(() => desktop.text(start) === text, text);
        }
    });

    test('presses keys that are no text, shortcuts and the key bar', async () => {
        const start = desktop.events().length;
        const press = async (...keys) => {
            for (const key of keys)
                await page.keyboard.press(key);
        };
        const bar = async (...names) => {
            for (const name of names)
                await page.click(`#keys button:text-is("${name}")`);
        };
        await page.clock.install();
        await page.clock.pauseAt(Date.now() + 1000); // A slow click would hold a key of the bar.
        await press('Enter', 'ArrowLeft', 'F5', 'Shift+Tab', 'Control+c', 'Control+Alt+Delete');
        await page.click('#keysButton');
        await page.click('#moreButton');
        await bar('ctrl');
        await press('c', 'd');
        await bar('alt', 'alt'); // Until it is clicked once more.
        await press('a');
        await bar('F12', 'alt', 'ctrl+alt+del', 'ctrl');
        await click(320, 240);
        await page.waitForSelector('#notices p:text("A click goes without Ctrl")');
        await bar('pgup');
        await page.clock.runFor(7000);
        assert.equal(await page.textContent('#notices'), '');
        await eventually(() => desktop.keys(start).length >= 12, 'all keys');
        const [shift, control, alt] = [1, 4, 8];
        assert.deepEqual(desktop.keys(start), [
            ['Return', 0], ['Left', 0], ['F5', 0], ['ISO_Left_Tab', shift], ['c', control],
            ['Delete', control | alt], ['c', control], ['d', 0], ['a', alt], ['F12', alt],
            ['Delete', control | alt], ['Prior', control]]);
        await page.clock.resume();
        for (const act of ['down', 'up'])
            for (const key of ['Control', 'Alt', 'Shift'])
                await page.keyboard[act](key);
        await press('Tab'); // Is the page's again.
        assert.equal(await page.evaluate(() => document.activeElement.id), 'keysButton');
        await click(320, 240);
    });

    test('carries the clipboard both ways by itself, and types it', async () => {
        const xclip = (direction, options) => spawnSync(
            'xclip', ['-display', desktop.display, '-selection', 'clipboard', direction], options);
        const copied = 'Kopiert: ñ 🎈\nzwei Zeilen';
        // Once more now and then: nothing tells from when on the program listens.
        let attempts = 0;
        await eventually(() => {
            if (attempts++ % 100 === 0)
                xclip('-i', { input: copied, stdio: ['pipe', 'ignore', 'ignore'] });
            return page.evaluate(
                async (text) => await navigator.clipboard.readText() === text, copied);
        }, 'the desktop\'s clipboard here');
        const start = desktop.events().length;
        await page.evaluate(() => navigator.clipboard.writeText('From here: ü 🚀'));
        await page.keyboard.press('Control+v');
        await eventually(() => desktop.keys(start).length > 0, 'the key');
        const there = () => String(xclip('-o', { timeout: 2000 }).stdout);
        await eventually(() => there() === 'From here: ü 🚀', 'this clipboard on the desktop');
        await page.click('nav .pasteHere');
        await eventually(() => desktop.text(start).endsWith('From here: ü 🚀'), 'it typed');
    });

    test('shows another display, and keeps what was chosen over a reload', async () => {
        for (const [name, x, output] of [['left', 0, 'screen'], ['right', 320, 'none']])
            execFileSync('xrandr', ['--display', desktop.display, '--setmonitor', name,
                                    `320/80x480/120+${x}+0`, output]);
        await page.fill('#rate', '900');
        await page.reload();
        await page.waitForSelector('#rateText:text-is("900 kbit/s")');
        await page.selectOption('#display', { label: 'right, 320 × 480' });
        await untilColoured(page, [[100, 100, 0x20a040], [100, 400, 0xe0e0e0]]);
        await page.reload();
        await untilColoured(page, [[100, 100, 0x20a040], [100, 400, 0xe0e0e0]]);
    });
});
