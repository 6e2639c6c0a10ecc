/** orvel-preview itself, with a program that is none of ours. */

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { request } from 'node:http';
import { test } from 'node:test';
import { eventually, startPreview, suite } from './harness.mjs';

function post(address, body) {
    return fetch(`${address}control`, { method: 'POST', body });
}

/** Opens the frames; `close()` goes away as a page does. */
async function watch(address) {
    const aborter = new AbortController();
    const response = await fetch(`${address}frames`, { signal: aborter.signal });
    return { response, reader: response.body.getReader(), close: () => aborter.abort() };
}

/** Text that comes in one piece. */
async function readText(reader) {
    return Buffer.from((await reader.read()).value).toString().trim();
}

async function read(reader, length) {
    const parts = [];
    for (let size = 0; size < length; size += parts.at(-1).length)
        parts.push((await reader.read()).value);
    return Buffer.concat(parts);
}

suite('orvel-preview', () => {
    test('what goes in reaches the program, what it writes the page, byte for byte', async () => {
        const { address } = await startPreview(['cat', '-']);
        const { reader, close } = await watch(address);
        const sent = [];
        for (let round = 0; round < 5; ++round) {
            sent.push(Buffer.concat([randomBytes(200_000), Buffer.from('\n')]));
            assert.equal((await post(address, sent.at(-1))).status, 200);
        }
        const all = Buffer.concat(sent);
        assert.ok(all.equals(await read(reader, all.length)));
        close();
    });

    test('only the whole address is answered, and only under this machine\'s name', async () => {
        const { address } = await startPreview(['cat', '-']);
        const { origin, port, pathname } = new URL(address);
        const status = (path, host) => new Promise((resolve, reject) => {
            request({ port, path, headers: { host } }, (response) => {
                response.resume();
                resolve(response.statusCode);
            }).on('error', reject).end();
        });
        const wrong = pathname.replace(/.\/$/, (end) => (end === '0/' ? '1/' : '0/'));
        assert.equal(await status(pathname, '127.0.0.1'), 200);
        assert.equal(await status(pathname, `localhost:${port}`), 200);
        assert.equal(await status(pathname, `evil.example:${port}`), 403);
        for (const path of [wrong, '/', pathname.slice(0, -1), `/frames`, `${wrong}control`])
            assert.equal(await status(path, '127.0.0.1'), 403, path);
        assert.equal(await status(`${pathname}../Main.cpp`, '127.0.0.1'), 404);

        const page = await fetch(address);
        assert.match(page.headers.get('content-security-policy'), /default-src 'none'/);
        assert.equal(page.headers.get('access-control-allow-origin'), null);
        assert.equal((await post(`${origin}${wrong}`, '{}\n')).status, 403);
    });

    test('control messages are whole lines of bounded size, and need a viewer', async () => {
        const { address } = await startPreview(['cat', '-']);
        assert.equal((await post(address, '{}\n')).status, 409);
        const { reader, close } = await watch(address);
        assert.equal((await post(address, '{}')).status, 400);
        assert.equal((await post(address, '')).status, 400);
        assert.equal((await post(address, `${' '.repeat(2 << 20)}\n`)).status, 413);
        assert.equal((await post(address, 'one\n')).status, 200);
        assert.equal(String(await read(reader, 4)), 'one\n', 'what was refused has come through');
        close();
    });

    test('one page watches; the next one gets a program of its own once it has gone', async () => {
        // Takes no notice of the end of its input.
        const stubborn = 'echo $$; exec sleep 30 2>/dev/null';
        const { address, programs } = await startPreview(['sh', '-c', stubborn]);
        assert.deepEqual(programs(), []);

        const first = await watch(address);
        const id = await readText(first.reader);
        assert.deepEqual(programs(), [id]);
        const refused = await watch(address);
        assert.equal(refused.response.status, 409);
        assert.match(await readText(refused.reader), /Another page is watching/);

        first.close();
        const second = await watch(address);
        assert.equal(second.response.status, 200);
        assert.notEqual(await readText(second.reader), id);
        second.close();
        await eventually(() => programs().length === 0, 'the end of the programs');
    });

    test('the page is told when the program ends, and when it can\'t be started', async () => {
        const { address } = await startPreview(['echo', 'the last words']);
        assert.equal(await (await fetch(`${address}frames`)).text(), 'the last words\n');

        const nowhere = await startPreview(['/no/such/program', 'stream']);
        const failed = await fetch(`${nowhere.address}frames`);
        assert.equal(failed.status, 500);
        assert.match(await failed.text(), /no\/such\/program/);
    });
});
