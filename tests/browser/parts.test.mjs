/** What the page decides without a browser. */

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { difference } from '../../tools/preview/page/composition.mjs';
import { FrameParser, picture } from '../../tools/preview/page/frames.mjs';
import { codecName } from '../../tools/preview/page/h264.mjs';
import { Backlog } from '../../tools/preview/page/video.mjs';

function frame(type, payload) {
    const header = Buffer.alloc(5);
    header.write(type);
    header.writeUInt32BE(payload.length, 1);
    return Buffer.concat([header, payload]);
}

test('frames come out whole wherever the bytes are cut, and what can\'t be one is an error', () => {
    const long = Buffer.from(Array.from({ length: 200_000 }, (_, index) => index * 7));
    const stream = Buffer.concat([frame('I', Buffer.from('{}')), frame('V', long),
                                  frame('C', Buffer.alloc(0)), frame('E', Buffer.from('é'))]);
    for (const size of [1, 5, 4096, stream.length]) {
        const parser = new FrameParser();
        const frames = [];
        for (let at = 0; at < stream.length; at += size)
            frames.push(...parser.push(stream.subarray(at, at + size)));
        assert.equal(frames.map(({ type }) => type).join(''), 'IVCE', `cut every ${size} bytes`);
        assert.ok(long.equals(frames[1].payload));
        assert.equal(Buffer.from(frames[3].payload).toString(), 'é');
    }
    assert.throws(() => new FrameParser().push(Buffer.from('Vÿÿÿÿ', 'latin1')));
});

test('a picture is a flag, a time and H.264, whose codec is in its parameter set', () => {
    const sets = [0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 0x67, 0x64, 0x0c, 0x1f, 0xac, 0, 0, 0, 1, 0x68];
    const payload = Buffer.from([1, 0, 0, 0, 1, 0, 0, 0, 2, ...sets]);
    const { key, time, data } = picture(payload);
    assert.deepEqual([key, time, codecName(data)], [true, 2 ** 32 + 2, 'avc1.640c1f']);
    assert.equal(codecName(data.subarray(0, 12)), null);
    assert.throws(() => picture(payload.subarray(0, 9)));
});

test('a text becomes another one from its first difference on', () => {
    for (const [sent, meant, removed, added] of [
        ['', 'a', 0, 'a'], ['teh', 'the ', 2, 'he '], ['ㅎ', '하', 1, '하'], ['さ👋🏽', 'さ', 1, ''],
        ['e', 'é', 1, 'é']])
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
