/** The page, showing a display of this machine and driving it with a mouse and a keyboard. */

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { before, test } from 'node:test';
import {
    eventually, openDriving, openPage, placeOf, startBrowser, startDesktop, startScreenPreview,
    suite, untilColoured, untilLive,
} from './harness.mjs';

const problems = []; // what went wrong in the page

/** The buttons that went down or up since `start` events ago, such as "down 1". */
function buttonsSince(desktop, start) {
    const events = desktop.events().slice(start).filter(({ kind }) => kind !== 'key');
    return events.map(({ kind, detail }) => `${kind} ${detail}`);
}

suite('a display', () => {
    let desktop;
    let preview;
    let context;
    let page;
    before(async () => {
        desktop = await startDesktop();
        preview = await startScreenPreview(['stream'], desktop.display);
        context = await startBrowser();
        page = await openDriving(context, preview.address, problems);
    });

    test('shows the picture in its colours, and what it costs', async () => {
        await untilColoured(page);
        assert.equal(await page.textContent('#size'), '640 × 480');
        assert.match(await page.textContent('#announcement'), /"displays"/);
        const latency = async () => [await page.textContent('#drawing'),
                                     await page.textContent('#delay')];
        await eventually(async () => (await latency()).every((text) => /^\d+\.\d ms$/.test(text)),
                         'a latency');
    });

    test('gets a key frame when it asks for one', async () => {
        const keyFrames = async () => Number((await page.textContent('#pictures')).split(', ')[1]);
        const first = await eventually(keyFrames, 'a first key frame');
        await page.click('#idr');
        await eventually(async () => await keyFrames() > first, 'another key frame');
    });

    test('sends the rate that the slider is at', async () => {
        const posted = page.waitForRequest((request) =>
            request.postData()?.includes('{"t":"rate","kbps":900}\n'));
        await page.fill('#rate', '900');
        await posted;
    });

    for (const [size, width] of [['as it is', 1200], ['made smaller', 760]]) {
        test(`clicks land where they are aimed, on a picture ${size}`, async () => {
            await page.setViewportSize({ width, height: 700 });
            for (const [x, y] of [[401, 297], [0, 0], [639, 479], [12, 470]]) {
                const start = desktop.events().length;
                const place = await placeOf(page, x, y);
                await page.mouse.click(place.x, place.y);
                await eventually(() => desktop.events().length >= start + 2, 'a click');
                assert.deepEqual(buttonsSince(desktop, start), ['down 1', 'up 1']);
                for (const event of desktop.events().slice(start))
                    assert.deepEqual([event.x, event.y], [x, y]);
            }
        });
    }

    test('drags, and knows the other buttons and the wheel', async () => {
        const start = desktop.events().length;
        const [from, to] = [await placeOf(page, 50, 60), await placeOf(page, 250, 160)];
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
        const expected = ['down 1', 'down 3', 'up 3', 'up 1', 'down 2', 'up 2',
                          'down 5', 'up 5', 'down 5', 'up 5', 'down 6', 'up 6'];
        await eventually(() => desktop.events().length >= start + expected.length, 'all buttons');
        assert.deepEqual(buttonsSince(desktop, start), expected);
        const [down, , , up] = desktop.events().slice(start);
        assert.deepEqual([down.x, down.y, up.x, up.y], [50, 60, 250, 160]);
    });

    test('types what the field gets, from a keyboard or an input method', async () => {
        const start = desktop.text().length;
        const place = await placeOf(page, 320, 240);
        await page.mouse.click(place.x, place.y); // From here on the keys are the desktop's.
        await page.keyboard.type('Plain, then ');
        await page.keyboard.insertText('Grüße, žluťoučký 👋🏽 ');
        const input = await context.newCDPSession(page);
        const compose = (text) => input.send('Input.imeSetComposition', {
            text, selectionStart: text.length, selectionEnd: text.length,
        });
        await compose('こ');
        await compose('こん');
        await input.send('Input.insertText', { text: '今日' });
        const expected = 'Plain, then Grüße, žluťoučký 👋🏽 今日';
        await eventually(() => desktop.text().length >= start + expected.length, 'all the text');
        assert.equal(desktop.text().slice(start), expected);
        assert.equal(await page.inputValue('#typing'), '');
    });

    test('presses keys that are no text, and shortcuts', async () => {
        const start = desktop.events().length;
        await page.focus('#typing');
        for (const key of ['Enter', 'ArrowLeft', 'F5', 'Shift+Tab', 'Control+c',
                           'Control+Alt+Delete'])
            await page.keyboard.press(key);
        await page.check('input[value="ctrl"]', { force: true });
        await page.click('button[data-key="escape"]');
        await page.click('button[data-key="escape"]');
        const modifier = /_L$|_R$/;
        const keys = () => desktop.events().slice(start).filter(
            ({ kind, name }) => kind === 'key' && !modifier.test(name));
        await eventually(() => keys().length >= 8, 'all keys');
        const [shift, control, alt] = [1, 4, 8];
        const pressed = keys().map(({ name, state }) => [name, state & (shift | control | alt)]);
        assert.deepEqual(pressed, [
            ['Return', 0], ['Left', 0], ['F5', 0], ['ISO_Left_Tab', shift], ['c', control],
            ['Delete', control | alt], ['Escape', control], ['Escape', 0],
        ]);
    });

    test('carries the clipboard both ways', async () => {
        const xclip = (direction, options) => spawnSync(
            'xclip', ['-display', desktop.display, '-selection', 'clipboard', direction], options);
        await page.check('#clipsync');
        const copied = 'Kopiert: ñ 🎈\nzwei Zeilen';
        // Once more now and then: nothing tells from when on the program listens.
        let attempts = 0;
        await eventually(async () => {
            if (attempts++ % 100 === 0)
                xclip('-i', { input: copied, stdio: ['pipe', 'ignore', 'ignore'] });
            return await page.inputValue('#clipboard') === copied;
        }, 'the desktop\'s clipboard in the page');

        const sent = 'From the page: ü 🚀';
        await eventually(async () => {
            await page.fill('#clipboard', sent);
            await page.click('#clip');
            return String(xclip('-o', { timeout: 2000 }).stdout) === sent;
        }, 'the page\'s text on the desktop\'s clipboard');
    });

    test('tells a second page that the first one watches, and can be loaded again', async () => {
        const second = await openPage(context, preview.address, problems);
        await second.waitForSelector('#reason:text("Another page is watching")');
        await second.close();
        await page.reload();
        await untilLive(page);
        await untilColoured(page);
    });

    test('ends the program with the page', async () => {
        assert.equal(preview.programs().length, 1);
        await page.close();
        await eventually(() => preview.programs().length === 0, 'the end of the program');
        page = await openDriving(context, preview.address, problems);
        await untilColoured(page);
    });

    test('shows the sentence when the X server is killed', async () => {
        const sentence = 'The Mac stopped sharing its screen.';
        await desktop.server.stop();
        await page.waitForSelector('body[data-state="closed"]');
        assert.equal(await page.textContent('#reason'), sentence);
        assert.match(await page.textContent('#errors'), new RegExp(`capture${sentence}`));
        await page.click('#opening button');
        await page.waitForSelector('#reason:text("This Mac has no display to share.")');
    });

    test('has done all that without a fault of its own', () => {
        assert.deepEqual(problems, []);
    });
});
