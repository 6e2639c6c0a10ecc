/** The page, showing and driving a remote desktop behind a password. */

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import {
    eventually, openPage, placeOf, startBrowser, startScreenPreview, startVNCDesktop, suite,
    untilColoured, untilLive,
} from './harness.mjs';

suite('a remote desktop', () => {
    const folder = mkdtempSync(join(tmpdir(), 'orvel-'));
    after(() => rmSync(folder, { recursive: true }));
    let desktop;
    let page;
    before(async () => {
        const file = join(folder, 'password');
        execFileSync('x11vnc', ['-storepasswd', 'geheim', file], { stdio: 'ignore' });
        desktop = await startVNCDesktop(file);
        const words = ['vnc', '--host', '127.0.0.1', '--port', String(desktop.port)];
        const { address } = await startScreenPreview(words, '');
        page = await openPage(await startBrowser(), address);
    });

    const start = async (password) => {
        await page.fill('#password', password);
        await page.click('#opening button');
    };

    test('asks for the password and says when it is wrong', async () => {
        const command = `vnc --host 127.0.0.1 --port ${desktop.port}`;
        // The page asks for it once it is there.
        await page.waitForSelector(`#command:text-is("${command}")`);
        await start('falsch');
        await page.waitForSelector('#errors code:text("remote_auth")');
        await page.waitForSelector('body[data-state="closed"]');
        assert.notEqual(await page.textContent('#reason'), '');
    });

    test('shows and drives it with the right one, which the page forgets', async () => {
        await start('geheim');
        await untilLive(page);
        await untilColoured(page);
        assert.equal(await page.inputValue('#password'), '');
        for (const [x, y] of [[401, 297], [0, 0], [639, 479], [103, 411]]) {
            const place = await placeOf(page, x, y);
            const before = desktop.events().length;
            await page.mouse.click(place.x, place.y);
            await eventually(() => desktop.events().length >= before + 2, 'a click');
            const [{ detail, ...event }] = desktop.events().slice(before);
            assert.deepEqual([detail, event.x, event.y], [1, x, y]);
        }
        await page.keyboard.type('remote é');
        await eventually(() => desktop.text() === 'remote é', 'the text');
    });

    test('shows the sentence when the server goes', async () => {
        await desktop.server.stop();
        await page.waitForSelector('body[data-state="closed"]');
        const sentence = 'The remote desktop closed the connection.';
        assert.equal(await page.textContent('#reason'), sentence);
    });
});
