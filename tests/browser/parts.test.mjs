/** What the page decides without a browser. */

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { difference } from '../../tools/preview/page/composition.mjs';
import { FrameParser, picture } from '../../tools/preview/page/frames.mjs';
import { units } from '../../tools/preview/page/h264.mjs';
import { Backlog } from '../../tools/preview/page/video.mjs';

test('frames come out whole wherever the bytes are cut, and what can\'t be one is an error', () => {
    const payloads = { I: Buffer.from('{}'), V: Buffer.alloc(200_000, 'abc'), C: Buffer.alloc(0),
                       E: Buffer.from('é') };
    const stream = Buffer.concat(Object.entries(payloads).flatMap(([type, { length }]) => [
        Buffer.from([type.charCodeAt(0), 0, length >> 16, length >> 8, length]), payloads[type]]));
    for (const size of [1, 5, 4096, stream.length]) {
        const parser = new FrameParser();
        const frames = [];
        for (let at = 0; at < stream.length; at += size)
            frames.push(...parser.push(stream.subarray(at, at + size)));
        assert.deepEqual(frames.map(({ type, payload }) => [type, Buffer.from(payload)]),
                         Object.entries(payloads), `cut every ${size} bytes`);
    }
    assert.throws(() => new FrameParser().push(Buffer.from('Vÿÿÿÿ', 'latin1')));
    const { key, time } = picture(Buffer.from([1, 0, 0, 0, 1, 0, 0, 0, 2, 0]));
    assert.deepEqual([key, time], [true, 2 ** 32 + 2]);
    const stretch = units(Uint8Array.of(0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 103, 1, 0, 0, 1, 104));
    assert.deepEqual(stretch.map((unit) => [...unit]), [[9, 16], [103, 1], [104]]);
});

test('a text becomes another one from its first difference on', () => {
    for (const [sent, meant, removed, added] of [
        ['', 'a', 0, 'a'], ['teh', 'the ', 2, 'he '], ['ㅎ', '하', 1, '하'], ['さ👋🏽', 'さ', 1, '']])
        assert.deepEqual(difference(sent, meant), { removed, added }, `${sent} to ${meant}`);
});

test('a decoded picture is left out by its age, and only while a newer one waits', () => {
    const backlog = new Backlog();
    for (let time = 0; time < 50; ++time)
        backlog.add(time, time);
    assert.ok(backlog.take(0, 149).worth, 'many wait, but it is young');
    assert.ok(!backlog.take(1, 152).worth);
    assert.ok(!backlog.hopeless(1000) && backlog.hopeless(1003));
    for (let time = 2; time < 49; ++time)
        backlog.take(time, time);
    assert.ok(backlog.take(49, 5000).worth, 'there is none better');
});
