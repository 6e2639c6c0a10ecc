/** How the page takes frames apart. */

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { codecName, FrameParser, picture } from '../../tools/preview/page/frames.mjs';

function frame(type, payload) {
    const header = Buffer.alloc(5);
    header.write(type);
    header.writeUInt32BE(payload.length, 1);
    return Buffer.concat([header, payload]);
}

test('frames come out whole wherever the bytes are cut', () => {
    const long = Buffer.from(Array.from({ length: 200_000 }, (_, index) => index * 7));
    const stream = Buffer.concat([frame('I', Buffer.from('{}')), frame('V', long),
                                  frame('C', Buffer.alloc(0)), frame('E', Buffer.from('é'))]);
    for (const size of [1, 3, 5, 4096, 70_000, stream.length]) {
        const parser = new FrameParser();
        const frames = [];
        for (let at = 0; at < stream.length; at += size)
            frames.push(...parser.push(stream.subarray(at, at + size)));
        assert.equal(frames.map(({ type }) => type).join(''), 'IVCE', `cut every ${size} bytes`);
        assert.ok(long.equals(frames[1].payload));
        assert.equal(Buffer.from(frames[3].payload).toString(), 'é');
    }
});

test('what can\'t be a frame is an error, not memory', () => {
    assert.throws(() => new FrameParser().push(Buffer.from('Vÿÿÿÿ', 'latin1')));
});

test('a picture is a flag, a time and H.264, whose codec is in its parameter set', () => {
    const sets = [0, 0, 0, 1, 9, 16, 0, 0, 0, 1, 0x67, 0x64, 0x0c, 0x1f, 0xac, 0, 0, 0, 1, 0x68];
    const payload = Buffer.from([1, 0, 0, 0, 1, 0, 0, 0, 2, ...sets]);
    const { key, time, data } = picture(payload);
    assert.equal(key, true);
    assert.equal(time, 2 ** 32 + 2);
    assert.deepEqual([...data], sets);
    assert.equal(codecName(data), 'avc1.640c1f');
    assert.equal(codecName(data.subarray(0, 12)), null);
    assert.throws(() => picture(payload.subarray(0, 9)));
});
