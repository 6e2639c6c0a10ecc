/** Who is let in, and what the page shows when something ends, fails or stands still. */

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { mkdtempSync, rmSync, statSync } from 'node:fs';
import { request } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import {
    eventually, openDriving, openPage, placeOf, startBrowser, startDesktop, startPreview,
    startScreenPreview, suite, until, untilColoured,
} from './harness.mjs';

const folder = mkdtempSync(join(tmpdir(), 'orvel-'));
after(() => rmSync(folder, { recursive: true }));

suite('orvel-preview', () => {
    const post = (address, body) => fetch(`${address}control`, { method: 'POST', body });
    /** Opens the frames; `close()` goes away as a page does. */
    async function watch(address) {
        const aborter = new AbortController();
        const response = await fetch(`${address}frames?viewer=Lynx`, { signal: aborter.signal });
        const reader = response.body.getReader();
        return { response, close: () => aborter.abort(), async read(length) {
            const parts = [];
            for (let size = 0; size < length; size += parts.at(-1).length)
                parts.push((await reader.read()).value);
            return Buffer.concat(parts);
        } };
    }

    test('whole lines reach the program, and what it writes the page, byte for byte', async () => {
        const { address } = await startPreview(['cat', '-']);
        assert.equal((await post(address, '{}\n')).status, 409);
        const { read, close } = await watch(address);
        for (const [body, status] of [['{}', 400], ['', 400], [`${' '.repeat(2 << 20)}\n`, 413]])
            assert.equal((await post(address, body)).status, status);
        const sent = Array.from({ length: 5 }, () => Buffer.concat([randomBytes(200_000), Buffer.from('\n')]));
        for (const part of sent)
            assert.equal((await post(address, part)).status, 200);
        const all = Buffer.concat(sent);
        assert.ok(all.equals(await read(all.length)), 'also, nothing of what was refused');
        close();
    });

    test('only the whole address is answered, under this machine\'s name, and may be kept', async () => {
        const kept = ['--token', join(folder, 'token')];
        const preview = await startPreview(['cat', '-'], {}, kept);
        const { port, pathname } = new URL(preview.address);
        const status = (path, host) => new Promise((resolve, reject) => {
            request({ port, path, headers: { host } }, (response) => {
                response.resume();
                resolve(response.statusCode);
            }).on('error', reject).end();
        });
        const wrong = pathname.replace(/.\/$/, (end) => (end === '0/' ? '1/' : '0/'));
        for (const [path, host, answer] of [
            [pathname, '127.0.0.1', 200], [pathname, `localhost:${port}`, 200],
            [pathname, `evil.example:${port}`, 403], [wrong, '127.0.0.1', 403], ['/', '127.0.0.1', 403],
            [pathname.slice(0, -1), '127.0.0.1', 403], [`${wrong}control`, '127.0.0.1', 403],
            ['/frames', '127.0.0.1', 403], [`${pathname}../Main.cpp`, '127.0.0.1', 404]])
            assert.equal(await status(path, host), answer, `${host} ${path}`);
        const page = await fetch(preview.address);
        assert.match(page.headers.get('content-security-policy'), /default-src 'none'/);
        assert.equal(page.headers.get('access-control-allow-origin'), null);

        await preview.stop();
        const again = await startPreview(['cat', '-'], {}, [...kept, '--port', port]);
        assert.equal(again.address, preview.address);
        assert.equal(statSync(kept[1]).mode & 0o77, 0);
    });

    test('the seat is one program\'s, and free once its viewer has gone', async () => {
        // Takes no notice of the end of its input.
        const { address, programs } = await startPreview(['sh', '-c', 'echo $$; exec sleep 30 2>/dev/null']);
        const first = await watch(address);
        const id = String(await first.read(1)).trim();
        assert.deepEqual(programs(), [id]);
        const refused = await watch(address);
        assert.equal(refused.response.status, 409);
        assert.match(String(await refused.read(1)), /Lynx has been watching since \d\d:\d\d/);
        first.close();
        const second = await eventually(async () => {
            const next = await watch(address);
            return next.response.status === 200 && next;
        }, 'a free seat');
        assert.notEqual(String(await second.read(1)).trim(), id);
        second.close();
        await eventually(() => programs().length === 0, 'the end of the programs');

        const nowhere = await startPreview(['/no/such/program', 'stream']);
        const failed = await fetch(`${nowhere.address}frames`);
        assert.equal(failed.status, 500);
        assert.match(await failed.text(), /no\/such\/program/);
    });
});

suite('a desktop that ends', () => {
    let desktop;
    let preview;
    let context;
    let page;
    before(async () => {
        desktop = await startDesktop();
        preview = await startScreenPreview(['stream'], desktop.display);
        context = await startBrowser();
        page = await openDriving(context, preview.address);
    });

    test('is called stalled when it owes an answer, not when it stands still', async () => {
        await page.clock.install();
        await page.clock.pauseAt(Date.now() + 1000);
        const keyFrames = async () => Number((await page.textContent('#pictures')).split(', ')[1]);
        const first = await eventually(keyFrames, 'a first key frame');
        const passUntil = (question, what) => eventually(async () => {
            await page.clock.runFor(500);
            return question();
        }, what);
        await passUntil(async () => await keyFrames() > first, 'an answer');
        await until(page, 'live');

        const [program] = preview.programs();
        process.kill(program, 'SIGSTOP');
        await passUntil(() => page.$('body[data-state="stalled"]'), 'stalled');
        process.kill(program, 'SIGCONT');
        await passUntil(() => page.$('body[data-state="live"]'), 'live again');
        await page.clock.resume();
    });

    test('tells a second page who watches, and lets it in when the first one goes', async () => {
        const second = await openPage(context, preview.address);
        await second.waitForSelector('#reason:text("Chrome on Linux has been watching since")');
        await page.close();
        page = second;
        await until(page, 'live');
        await untilColoured(page);
        assert.equal(preview.programs().length, 1);
    });

    test('shows refusals over the picture, and the sentence of an end', async () => {
        const place = await placeOf(page, 100, 100);
        execFileSync('xset', ['-display', desktop.display, 's', 'reset']);
        await page.mouse.click(place.x, place.y);
        const sentence = 'The Mac stopped sharing its screen.';
        await desktop.server.stop();
        await until(page, 'closed');
        assert.equal(await page.textContent('#reason'), sentence);
        assert.match(await page.textContent('#notices'), new RegExp(sentence));
        assert.match(await page.textContent('#errors'), new RegExp(`capture${sentence}`));
        await page.click('#start');
        await page.waitForSelector('#reason:text("This Mac has no display to share.")');
        await page.waitForSelector('#notices:empty', { state: 'attached' });
    });
});

suite('a remote desktop', () => {
    let desktop;
    let page;
    before(async () => {
        const file = join(folder, 'password');
        execFileSync('x11vnc', ['-storepasswd', 'geheim', file], { stdio: 'ignore' });
        desktop = await startDesktop([
            'Xvnc', '-geometry', '640x480', '-depth', '24', '-SecurityTypes', 'VncAuth',
            '-PasswordFile', file, '-localhost', '-Log', '*:stderr:0']);
        const port = String(5900 + Number(desktop.number));
        const { address } = await startScreenPreview(['vnc', '--host', '127.0.0.1', '--port', port], '');
        page = await openPage(await startBrowser(), address);
    });

    test('is shown and driven with the right password, which the page forgets', async () => {
        for (const [password, state] of [['falsch', 'closed'], ['geheim', 'live']]) {
            await page.fill('#password', password);
            await page.click('#start');
            if (state === 'closed')
                await page.waitForSelector('#errors code:text("remote_auth")');
            await until(page, state);
        }
        assert.equal(await page.inputValue('#password'), '');
        await untilColoured(page);
        for (const [x, y] of [[401, 297], [0, 0], [639, 479], [103, 411]]) {
            const place = await placeOf(page, x, y);
            const events = await desktop.buttons(2, () => page.mouse.click(place.x, place.y));
            assert.deepEqual(events, [{ button: 'down 1', x, y }, { button: 'up 1', x, y }]);
        }
        await page.keyboard.type('remote é');
        await eventually(() => desktop.text() === 'remote é', 'the text');
        await desktop.server.stop();
        await page.waitForSelector('#reason:text-is("The remote desktop closed the connection.")');
    });
});
