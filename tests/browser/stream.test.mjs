/** The page, showing and driving a display of this machine. */

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { before, test } from 'node:test';
import {
    eventually, openPage, placeOf, startBrowser, startDesktop, startScreenPreview, suite,
    untilColoured, untilLive,
} from './harness.mjs';

const problems = [];

async function openLive(context, { address }) {
    const page = await openPage(context, address, problems);
    await untilLive(page);
    await page.check('#first'); // A new X server looks as if somebody had just used it.
    return page;
}

/** The buttons that went down or up since `start` events ago, such as "down 1". */
function buttonsSince(desktop, start) {
    const events = desktop.events().slice(start).filter(({ kind }) => kind !== 'key');
    return events.map(({ kind, detail }) => `${kind} ${detail}`);
}

suite('a display with a mouse and a keyboard', () => {
    let desktop;
    let preview;
    let context;
    let page;
    before(async () => {
        desktop = await startDesktop();
        preview = await startScreenPreview(['stream'], desktop.display);
        context = await startBrowser();
        page = await openLive(context, preview);
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
        const before = await eventually(keyFrames, 'a first key frame');
        await page.click('#idr');
        await eventually(async () => await keyFrames() > before, 'another key frame');
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
        for (const key of ['Enter', 'ArrowLeft', 'F5', 'Shift+Tab', 'Control+c', 'Control+Alt+Delete'])
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
        const clipboard = ['-display', desktop.display, '-selection', 'clipboard'];
        await page.check('#clipsync');
        const copied = 'Kopiert: ñ 🎈\nzwei Zeilen';
        // Told to say it again until the program, told by the page, is listening.
        await eventually(async () => {
            spawnSync('xclip', [...clipboard, '-i'], {
                input: copied, stdio: ['pipe', 'ignore', 'ignore'],
            });
            return await page.inputValue('#clipboard') === copied;
        }, 'the desktop\'s clipboard in the page');

        const sent = 'From the page: ü 🚀';
        await page.fill('#clipboard', sent);
        await page.click('#clip');
        await eventually(() => {
            const pasted = spawnSync('xclip', [...clipboard, '-o'], { timeout: 2000 });
            return String(pasted.stdout) === sent;
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
        page = await openLive(context, preview);
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

suite('a display under fingers', () => {
    let desktop;
    let page;
    let touchscreen;
    before(async () => {
        desktop = await startDesktop();
        const context = await startBrowser({ viewport: { width: 390, height: 800 }, hasTouch: true });
        page = await openLive(context, await startScreenPreview(['stream'], desktop.display));
        touchscreen = await context.newCDPSession(page);
    });

    /** Fingers on the picture go from one place to the next; each place is a list of [x, y]. */
    async function touch(...places) {
        const picture = await page.locator('#picture').boundingBox();
        const points = (place) => place.map(([x, y], id) => (
            { x: picture.x + x, y: picture.y + y, id }));
        const send = (type, place) => touchscreen.send('Input.dispatchTouchEvent', {
            type, touchPoints: points(place),
        });
        await send('touchStart', places[0]);
        for (const place of places.slice(1))
            await send('touchMove', place);
        await send('touchEnd', []);
    }

    /** Does it and waits for so many buttons going down and up. */
    async function eventsOf(count, action) {
        const start = desktop.events().length;
        await action();
        await eventually(() => desktop.events().length >= start + count, `${count} buttons`);
        assert.equal(desktop.events().length, start + count);
        return desktop.events().slice(start).map(
            ({ kind, detail, x, y }) => ({ button: `${kind} ${detail}`, x, y }));
    }
    const named = (events) => events.map(({ button }) => button);
    const apart = () => new Promise((resolve) => setTimeout(resolve, 400)); // No double tap.

    test('a tap clicks where the pointer is, not where the finger is', async () => {
        const [down] = await eventsOf(2, () => touch([[30, 30]]));
        assert.equal(down.button, 'down 1');
        assert.ok(Math.abs(down.x - 320) < 2 && Math.abs(down.y - 240) < 2, JSON.stringify(down));
    });

    test('a finger moves the pointer the way it goes', async () => {
        await apart();
        await touch([[100, 100]], [[120, 95]], [[150, 90]]);
        await apart();
        const [{ x, y }] = await eventsOf(2, () => touch([[30, 30]]));
        assert.ok(x > 330 && y < 240, `the pointer is at ${x}, ${y}`);
    });

    test('two fingers click with the right button and scroll', async () => {
        await apart();
        assert.deepEqual(named(await eventsOf(2, () => touch([[30, 30], [90, 30]]))),
                         ['down 3', 'up 3']);
        // Up by 100 and down by 50: the content follows, the wheel turns the other way.
        assert.deepEqual(named(await eventsOf(4, () => touch(
            [[30, 200], [90, 200]], [[30, 150], [90, 150]], [[30, 110], [90, 110]]))),
            ['down 5', 'up 5', 'down 5', 'up 5']);
    });

    test('a tap and a drag hold the button down', async () => {
        await apart();
        const events = await eventsOf(4, async () => {
            await touch([[60, 60]]);
            await touch([[60, 60]], [[60, 80]], [[60, 120]]);
        });
        assert.deepEqual(named(events), ['down 1', 'up 1', 'down 1', 'up 1']);
        assert.ok(events[3].y > events[2].y + 10, JSON.stringify(events));
        assert.equal(events[3].x, events[2].x);
    });

    test('a finger never asks for the keyboard', async () => {
        assert.notEqual(await page.evaluate(() => document.activeElement.id), 'typing');
    });
});
