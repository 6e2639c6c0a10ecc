/** The page under fingers, as a phone's trackpad. */

import assert from 'node:assert/strict';
import { before, test } from 'node:test';
import {
    eventually, openDriving, startBrowser, startDesktop, startScreenPreview, suite,
} from './harness.mjs';

suite('a display under fingers', () => {
    let desktop;
    let page;
    let touchscreen;
    before(async () => {
        desktop = await startDesktop();
        const viewport = { width: 390, height: 800 };
        const context = await startBrowser({ viewport, hasTouch: true });
        const { address } = await startScreenPreview(['stream'], desktop.display);
        page = await openDriving(context, address);
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
