/** The page under fingers, on a phone. Its clock stands still, so that no tap takes too long. */

import assert from 'node:assert/strict';
import { before, test } from 'node:test';
import {
    eventually, openDriving, startBrowser, startDesktop, startScreenPreview, suite,
} from './harness.mjs';

suite('a desktop under fingers', () => {
    let desktop;
    let page;
    let touchscreen;
    before(async () => {
        desktop = await startDesktop();
        const context = await startBrowser({ viewport: { width: 390, height: 844 }, hasTouch: true,
                                             isMobile: true });
        const { address } = await startScreenPreview(['stream'], desktop.display);
        page = await openDriving(context, address);
        touchscreen = await context.newCDPSession(page);
        await page.clock.install();
        await page.clock.pauseAt(Date.now() + 1000);
    });

    /** Fingers go from one place to the next; each place is a list of [x, y] in the stage. */
    async function touch(...places) {
        const stage = await page.locator('#surface').boundingBox();
        const send = (type, place) => touchscreen.send('Input.dispatchTouchEvent', {
            type,
            touchPoints: place.map(([x, y], id) => ({ x: stage.x + x, y: stage.y + y, id })),
        });
        await send('touchStart', places[0]);
        for (const place of places.slice(1))
            await send('touchMove', place);
        return () => send('touchEnd', []);
    }
    const stroke = async (...places) => (await touch(...places))();
    const apart = () => page.clock.runFor(1000); // The next tap is no double tap.
    const buttons = async (count, action) =>
        (await desktop.buttons(count, action)).map(({ button }) => button);

    test('a tap clicks where the pointer is, which goes the way the finger goes', async () => {
        const [{ button, x, y }] = await desktop.buttons(2, () => stroke([[30, 30]]));
        assert.equal(button, 'down 1');
        assert.ok(Math.abs(x - 320) < 2 && Math.abs(y - 240) < 2, `${x}, ${y}`);
        await apart();
        await stroke([[100, 100]], [[120, 95]], [[150, 90]]);
        const [moved] = await desktop.buttons(2, () => stroke([[30, 30]]));
        assert.ok(moved.x > 330 && moved.y < 240, JSON.stringify(moved));
    });

    test('a tap and a drag hold the button, a long press is the right one', async () => {
        await apart();
        const events = await desktop.buttons(4, async () => {
            await stroke([[60, 60]]);
            await stroke([[60, 60]], [[60, 80]], [[60, 120]]);
        });
        assert.deepEqual(events.map(({ button }) => button), ['down 1', 'up 1', 'down 1', 'up 1']);
        assert.ok(events[3].y > events[2].y + 10 && events[3].x === events[2].x);
        await apart();
        assert.deepEqual(await buttons(4, async () => {
            const lift = await touch([[60, 60]]);
            await page.clock.runFor(600);
            await lift();
            await apart();
            await stroke([[60, 60]]);
        }), ['down 3', 'up 3', 'down 1', 'up 1']);
    });

    test('two fingers click with the right button, scroll and zoom', async () => {
        assert.deepEqual(await buttons(2, () => stroke([[30, 30], [90, 30]])), ['down 3', 'up 3']);
        // Up by 100: the content follows. One finger is above the other, and they move in turn.
        assert.deepEqual(await buttons(4, () => stroke(
            [[60, 140], [60, 200]], [[60, 90], [60, 150]], [[60, 50], [60, 110]])),
            ['down 5', 'up 5', 'down 5', 'up 5']);
        const width = async () => (await page.locator('#picture').boundingBox()).width;
        assert.equal(await width(), 390);
        await stroke([[150, 100], [200, 100]], [[125, 100], [225, 100]], [[100, 100], [250, 100]]);
        assert.ok(Math.abs(await width() - 3 * 390) < 1, `${await width()}`);
        await stroke([[100, 100], [250, 100]], [[150, 100], [200, 100]], [[170, 100], [180, 100]]);
        assert.equal(await width(), 390);
    });

    test('a finger that touches directly clicks and drags what is under it', async () => {
        await page.evaluate(() => {
            document.getElementById('hand').value = 'direct';
        });
        await apart();
        const [stage, picture] = await Promise.all(['#surface', '#picture'].map(
            (one) => page.locator(one).boundingBox()));
        const on = (x, y) => [[x, y + picture.y - stage.y]];
        const events = await desktop.buttons(4, async () => {
            await stroke(on(195, 30));
            await apart();
            await stroke(on(39, 39), on(78, 60), on(117, 78));
        });
        const at = (place) => Math.floor((place * 640) / 390);
        assert.deepEqual(events, [['down 1', 195, 30], ['up 1', 195, 30], ['down 1', 39, 39],
                                  ['up 1', 117, 78]].map(
            ([button, x, y]) => ({ button, x: at(x), y: at(y) })));
    });

    test('the soft keyboard comes when asked for, and the key bar leaves it open', async () => {
        const typing = () => page.evaluate(() => document.activeElement.id === 'typing');
        assert.ok(!await typing());
        await page.tap('#softKeyboard');
        assert.ok(await typing());
        const start = desktop.events().length;
        await page.tap('#keys button:text-is("ctrl")');
        assert.ok(await typing());
        await page.keyboard.press('c');
        await page.tap('#keys button:text-is("tab")');
        // So a phone's keyboard tells of its backspace key.
        await page.evaluate(() => document.execCommand('delete'));
        const keys = () => desktop.events().slice(start).filter(
            ({ kind, name }) => kind === 'key' && !name.startsWith('Control'));
        await eventually(() => keys().length >= 3, 'the keys');
        assert.deepEqual(keys().map(({ name, state }) => [name, state & 4]),
                         [['c', 4], ['Tab', 0], ['BackSpace', 0]]);
        assert.ok(await typing());
    });

    test('the picture fits both ways a phone is held', async () => {
        for (const [width, height] of [[390, 844], [844, 390]]) {
            await page.setViewportSize({ width, height });
            const fits = async () => {
                const [stage, picture] = await Promise.all(['#surface', '#picture'].map(
                    (one) => page.locator(one).boundingBox()));
                return picture.x >= stage.x && picture.y >= stage.y - 1 &&
                    picture.width <= stage.width && picture.height <= stage.height &&
                    (picture.width === stage.width || Math.abs(picture.height - stage.height) < 1);
            };
            await eventually(fits, `fits ${width}x${height}`);
            assert.ok(await page.evaluate(() =>
                document.documentElement.scrollHeight <= window.innerHeight), 'nothing to swipe away');
            const small = await page.$$eval('button, select, input', (all) => all.filter((one) => {
                const { width: across, height: up } = one.getBoundingClientRect();
                return one.type !== 'checkbox' && across > 0 && Math.min(across, up) < 44;
            }).map((one) => one.outerHTML));
            assert.deepEqual(small, []);
        }
    });
});
