/** Who is let in, and what the page shows when something ends, fails or stands still. */

import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { mkdtempSync, rmSync, statSync } from 'node:fs';
import { get } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import {
    eventually, openDriving, openPage, placeOf, program, startBrowser, startDesktop, startPreview,
    suite, until, untilColoured,
} from './harness.mjs';

const folder = mkdtempSync(join(tmpdir(), 'orvel-'));
const kept = ['--token', join(folder, 'token')];
after(() => rmSync(folder, { recursive: true }));

suite('orvel-preview', () => {
    const post = async (address, body) =>
        (await fetch(`${address}control`, { method: 'POST', body })).status;
    const watch = (address, signal) =>
        fetch(`${address}frames?viewer=Lynx`, { method: 'POST', body: 'first\n', signal });

    test('whole lines reach the program, and what it writes the page, byte for byte', async () => {
        const { address } = await startPreview(['--program', 'cat', '-']);
        assert.equal(await post(address, '{}\n'), 409);
        const { body } = await watch(address);
        for (const [lines, status] of [['{}', 400], ['', 400], [`${' '.repeat(2 << 20)}\n`, 413]])
            assert.equal(await post(address, lines), status);
        const more = Buffer.concat([randomBytes(900_000), Buffer.from('\n')]);
        assert.equal(await post(address, more), 200);
        let left = Buffer.concat([Buffer.from('first\n'), more]);
        for (const reader = body.getReader(); left.length > 0;) {
            const { value } = await reader.read();
            assert.ok(left.subarray(0, value.length).equals(value));
            left = left.subarray(value.length);
        }
    });

    test('only the whole address is answered, by this machine\'s name, and may be kept', async () => {
        const preview = await startPreview([...kept, '--program', 'cat', '-']);
        const { port, pathname } = new URL(preview.address);
        const wrong = pathname.replace(/.\/$/, (end) => (end === '0/' ? '1/' : '0/'));
        for (const [path, host, status] of [
            [pathname, '127.0.0.1', 200], [pathname, `localhost:${port}`, 200],
            [pathname, `evil.example:${port}`, 403], [wrong, '127.0.0.1', 403],
            ['/', '127.0.0.1', 403], [pathname.slice(0, -1), '127.0.0.1', 403],
            ['/frames', '127.0.0.1', 403], [`${pathname}../Main.cpp`, '127.0.0.1', 404]]) {
            const { statusCode, headers } = await new Promise((resolve) => {
                get({ port, path, headers: { host } }, (answer) => resolve(answer.resume()));
            });
            assert.equal(statusCode, status, `${host} ${path}`);
            assert.match(headers['content-security-policy'], /default-src 'none'/);
            assert.equal(headers['access-control-allow-origin'], undefined);
        }
        await preview.stop();
        const again = await startPreview([...kept, '--port', port, '--program', 'cat', '-']);
        assert.equal(again.address, preview.address);
        assert.equal(statSync(kept[1]).mode & 0o77, 0);
        const third = spawnSync(process.env.ORVEL_PREVIEW, ['--port', port], { timeout: 10_000 });
        assert.equal(String(third.stderr), `port ${port} can't be had\n`);
    });

    test('the seat is one program\'s, and free once its viewer has gone', async () => {
        // Takes no notice of the end of its input.
        const stubborn = ['--program', 'sh', '-c', 'echo; exec sleep 30 2>/dev/null'];
        const { address, programs } = await startPreview(stubborn);
        const first = new AbortController();
        await watch(address, first.signal);
        const [id] = programs();
        const refused = await watch(address);
        assert.equal(refused.status, 409);
        assert.match(await refused.text(), /^Lynx has been watching since \d\d:\d\d/);
        first.abort();
        await eventually(async () => (await watch(address)).status === 200, 'a free seat');
        await eventually(() => programs().length === 1 && programs()[0] !== id, 'its own program');
        const nowhere = await startPreview(['--program', '/no/such/program', 'stream']);
        assert.match(await (await watch(nowhere.address)).text(), /no\/such\/program/);
    });
});

suite('a desktop that ends', () => {
    let [desktop, preview, context, page] = [];
    const start = (...options) => startPreview([...kept, ...options, ...program], desktop);
    before(async () => {
        desktop = await startDesktop();
        preview = await start();
        context = await startBrowser();
        page = await openDriving(context, preview.address);
    });

    test('is called stalled when it owes an answer, not when it stands still', async () => {
        const keyFrames = async () => Number((await page.textContent('#pictures')).split(', ')[1]);
        const first = await eventually(keyFrames, 'a first key frame');
        await page.clock.install();
        await page.clock.pauseAt(Date.now() + 1000);
        const passUntil = (question, what) => eventually(async () => {
            await page.clock.runFor(500);
            return question();
        }, what);
        await passUntil(async () => await keyFrames() > first, 'an answer');
        await until(page, 'live');
        for (const [signal, state] of [['SIGSTOP', 'stalled'], ['SIGCONT', 'live']]) {
            process.kill(preview.programs()[0], signal);
            await passUntil(() => page.$(`body[data-state="${state}"]`), state);
        }
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

    test('shows a refusal over the picture, and a way out of it', async () => {
        await page.uncheck('#first');
        const place = await placeOf(page, 100, 100);
        const click = () => page.mouse.click(...place);
        const input = '{"t":"start"}\n{"t":"first","on":true}\n{"t":"move","x":0.3}\n';
        await eventually(() => {
            // What another program of the same kind does is a person's doing to this one.
            spawnSync(program[1], ['stream'], { env: { DISPLAY: desktop.display }, input });
            return click().then(() => page.$('#notices :text("Someone is using this Mac")'));
        }, 'a refusal');
        await page.click('#notices button:text("Go first")');
        assert.equal((await desktop.buttons(2, click))[0][0], 'down 1');
        assert.match(await page.textContent('#errors'), /local_input/);
    });

    test('is not shown by a browser that can\'t decode it, which is said', async () => {
        const { address } = await startPreview(program, desktop);
        const other = await openPage(context, 'about:blank');
        for (const lacking of [
            () => (window.VideoDecoder.isConfigSupported = async () => ({ supported: false })),
            () => delete window.VideoDecoder]) {
            await other.addInitScript(lacking);
            await other.goto(address);
            await other.waitForSelector('#reason:text("can’t show the desktop")');
            assert.ok(!await other.$('#start'));
        }
        await other.close();
    });

    test('is looked for again when the connection breaks, and ends with a sentence', async () => {
        await preview.stop();
        await page.waitForSelector('#reason:text("The connection to orvel-preview is lost.")');
        preview = await start('--port', new URL(preview.address).port);
        await until(page, 'live');
        await desktop.stop();
        await page.waitForSelector('#reason:text-is("The Mac stopped sharing its screen.")');
        // Not on the same display: another test may have got its number by now.
        const nowhere = await openPage(context, (await startPreview(program)).address);
        await nowhere.waitForSelector('#reason:text-is("This Mac has no display to share.")');
    });
});

suite('a remote desktop', () => {
    test('is shown and driven with the right password, which the page forgets', async () => {
        const file = join(folder, 'password');
        execFileSync('x11vnc', ['-storepasswd', 'geheim', file], { stdio: 'ignore' });
        const desktop = await startDesktop([
            'Xvnc', '-geometry', '640x480', '-depth', '24', '-SecurityTypes', 'VncAuth',
            '-PasswordFile', file, '-localhost', '-Log', '*:stderr:0']);
        const port = String(5900 + Number(desktop.display.slice(1)));
        const { address } = await startPreview(
            [...program, 'vnc', '--host', '127.0.0.1', '--port', port]);
        const page = await openPage(await startBrowser(), address);
        await page.waitForSelector('#reason:text("password")');
        for (const password of ['falsch', 'geheim']) {
            await page.fill('#password', password);
            await page.click('#start');
            if (password === 'falsch')
                await page.waitForSelector('#errors code:text("remote_auth")');
        }
        await until(page, 'live');
        assert.equal(await page.inputValue('#password'), '');
        await untilColoured(page);
        for (const place of [[401, 297], [0, 0], [639, 479], [103, 411]])
            assert.deepEqual(await desktop.buttons(2, async () =>
                page.mouse.click(...await placeOf(page, ...place))),
                [['down 1', ...place], ['up 1', ...place]]);
        await page.keyboard.type('remote é');
        await eventually(() => desktop.text() === 'remote é', 'the text');
        await desktop.stop();
        await page.waitForSelector('#reason:text-is("The remote desktop closed the connection.")');
    });
});
