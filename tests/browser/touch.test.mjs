/** The page under fingers, on a phone. Its clock stands still, so that no tap takes too long. */

import assert from 'node:assert/strict';
import { before, test } from 'node:test';
import {
    boxes, eventually, openDriving, program, startBrowser, startDesktop, startPreview, suite,
} from './harness.mjs';

suite('a desktop under fingers', () => {
    let [desktop, page, touchscreen] = [];
    before(async () => {
        desktop = await startDesktop();
        const viewport = { width: 390, height: 844 };
        const context = await startBrowser({ viewport, hasTouch: true, isMobile: true });
        page = await openDriving(context, (await startPreview(program, desktop)).address);
        touchscreen = await context.newCDPSession(page);
        await page.clock.install();
        await page.clock.pauseAt(Date.now() + 1000);
    });

    /** Fingers go from one place of the picture, as it fits, to the next: lists of [x, y]. */
    async function touch(...places) {
        const [stage] = await boxes(page);
        const top = stage.y + (stage.height - (390 * 3) / 4) / 2;
        for (const [index, place] of places.entries())
            await touchscreen.send('Input.dispatchTouchEvent', {
                type: index > 0 ? 'touchMove' : 'touchStart',
                touchPoints: place.map(([x, y], id) => ({ x, y: top + y, id })) });
    }
    const lift = () =>
        touchscreen.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
    const stroke = (...places) => touch(...places).then(lift);
    const tap = () => stroke([[30, 30]]);
    const apart = () => page.clock.runFor(1000); // The next tap is no double tap.
    const names = async (count, act) =>
        (await desktop.buttons(count, act)).map(([name]) => name).join();

    test('one finger clicks and drags as on a trackpad, or presses long', async () => {
        assert.equal(String(await desktop.buttons(2, tap)), 'down 1,320,240,up 1,320,240');
        await apart();
        await stroke([[100, 100]], [[120, 95]], [[150, 90]]);
        const [[, x, y]] = await desktop.buttons(2, tap);
        assert.ok(x > 330 && y < 240, `${x}, ${y}`);
        await apart();
        const drag = await desktop.buttons(4, () => tap().then(
            () => stroke([[60, 60]], [[60, 80]], [[60, 120]])));
        assert.equal(drag.map(([name]) => name).join(), 'down 1,up 1,down 1,up 1');
        assert.ok(drag[3][2] > drag[2][2] + 10 && drag[3][1] === drag[2][1], String(drag));
        await apart();
        assert.equal(await names(4, () => touch([[60, 60]]).then(apart).then(lift).then(tap)),
                     'down 3,up 3,down 1,up 1');
    });

    test('two fingers click with the right button, scroll and zoom', async () => {
        assert.equal(await names(2, () => stroke([[30, 30], [90, 30]])), 'down 3,up 3');
        // Up by 100, and a little apart: the content follows. One finger is beside the picture.
        assert.equal(await names(4, () => stroke(
            [[60, -20], [60, 40]], [[60, -70], [60, -5]], [[60, -120], [60, -60]])),
            'down 5,up 5,down 5,up 5');
        for (const [spread, further, width] of [[25, 75, 3 * 390], [75, 25, 390], [75, 5, 390]]) {
            const fingers = (half) => [[175 - half, 100], [175 + half, 100]];
            await stroke(fingers(spread), fingers(further));
            const [, picture] = await boxes(page);
            assert.ok(Math.abs(picture.width - width) < 1, `${picture.width} for ${width}`);
            const middle = (175 - picture.x) / picture.width; // Stays under the fingers.
            assert.ok(Math.abs(middle - 175 / 390) < 0.01, `${middle} of the picture`);
        }
    });

    test('a finger that touches directly clicks and drags what is under it', async () => {
        await page.selectOption('#hand', 'direct', { force: true });
        await apart();
        const events = await desktop.buttons(4, () => stroke([[195, 31]]).then(apart).then(
            () => stroke([[39, 40]], [[78, 60]], [[117, 79]])));
        const at = (place) => Math.floor((place * 640) / 390);
        assert.deepEqual(events, [
            ['down 1', at(195), at(31)], ['up 1', at(195), at(31)], ['down 1', at(39), at(40)],
            ['up 1', at(117), at(79)]]);
    });

    test('the soft keyboard comes when asked for, and the key bar leaves it open', async () => {
        const typing = () => page.evaluate(() => document.activeElement.id === 'typing');
        const start = desktop.events().length;
        assert.ok(!await typing());
        await page.tap('#softKeyboard');
        assert.ok(await typing());
        // So a phone's keyboard tells of its backspace key.
        await page.evaluate(() => document.execCommand('delete'));
        await page.tap('#keys button:text-is("ctrl")');
        await page.keyboard.press('c');
        await page.tap('#keys button:text-is("tab")');
        await eventually(() => desktop.keys(start).length >= 3, 'the keys');
        assert.deepEqual(desktop.keys(start), [['BackSpace', 0], ['c', 4], ['Tab', 0]]);
        assert.ok(await typing());
    });

    test('everything fits both ways a phone is held, and a finger; what is longer scrolls', async () => {
        const unfit = () => page.$$eval(
            'button, summary, select, textarea:not(#typing), input', (all) => all.filter((one) => {
                const target = one.type === 'checkbox' ? one.parentElement : one;
                const size = Math.min(target.offsetWidth, target.offsetHeight);
                const enlarged = one.matches('select, textarea, input') && // while it has the focus
                    parseFloat(getComputedStyle(one).fontSize) < 16;
                return size > 0 && (enlarged || size < 44);
            }).map((one) => one.outerHTML));
        await page.tap('#sideButton');
        for (const [width, height] of [[390, 844], [844, 390]]) {
            await page.setViewportSize({ width, height });
            await eventually(async () => {
                const [stage, picture] = await boxes(page);
                const spare = ['width', 'height'].map((side) => stage[side] - picture[side]);
                return Math.abs(Math.min(...spare)) < 1;
            }, `a picture that fits ${width}x${height}`);
            assert.deepEqual(await unfit(), []);
            await page.$eval('#side', (side) => side.scrollTo(0, 0));
            for (const [type, up] of [['touchStart', 0], ['touchMove', 60], ['touchMove', 120]])
                await touchscreen.send('Input.dispatchTouchEvent', {
                    type, touchPoints: [{ x: width - 100, y: height / 2 - up }] });
            await lift();
            await eventually(() => page.$eval('#side', ({ scrollTop }) => scrollTop > 50),
                             'the swipe at the side bar');
        }
        await page.tap('#stop');
        assert.deepEqual(await unfit(), []);
    });
});
