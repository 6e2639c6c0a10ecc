/** What the tests start: X servers, the desktop on them, orvel-preview and the browser. */

import { spawn, spawnSync } from 'node:child_process';
import { createInterface } from 'node:readline';
import { after, describe } from 'node:test';
import { chromium } from 'playwright-core';

const { ORVEL_SCREEN, ORVEL_PREVIEW, BROWSER_DESKTOP } = process.env;
export const program = ['--program', ORVEL_SCREEN];
const patience = 30_000; // ms; for a busy machine

const running = new Set(); // what has to be stopped in the end
const problems = []; // what went wrong in pages

/** Tests that belong together; what they have started ends with them. */
export function suite(name, tests) {
    describe(name, { timeout: 7 * patience }, () => {
        after(async () => {
            await Promise.all([...running].map((one) => one.stop()));
            if (problems.length > 0)
                throw new Error(problems.join('\n'));
        });
        tests();
    });
}

/** Asks until the answer is something, and returns it. */
export async function eventually(question, what) {
    for (const deadline = Date.now() + patience; Date.now() < deadline;) {
        const answer = await question();
        if (answer)
            return answer;
        await new Promise((resolve) => setTimeout(resolve, 20));
    }
    throw new Error(`never ${what}`);
}

/** Starts a program: its lines of output, as they come, and once there is the first one. */
async function start([name, ...words], environment) {
    const child = spawn(name, words, { env: { ...process.env, ...environment },
                                          stdio: ['ignore', 'pipe', 'inherit'] });
    const ended = new Promise((resolve) => child.on('close', resolve));
    const one = { lines: [], pid: child.pid, stop: () => child.kill('SIGKILL') && ended };
    running.add(one);
    createInterface(child.stdout).on('line', (line) => one.lines.push(line));
    await eventually(() => one.lines.length > 0, `a line from ${name}`);
    return one;
}

/** A private X server, `words`, with the desktop of four colours on it. */
export async function startDesktop(words = ['Xvfb', '-screen', '0', '640x480x24', '-noreset']) {
    const server = await start([...words, '-displayfd', '1', '-nolisten', 'tcp']);
    const display = `:${server.lines[0]}`;
    const client = await start([BROWSER_DESKTOP, display]);
    const events = () => client.lines.slice(1).map((line) => JSON.parse(line));
    const keys = (from) => events().slice(from).filter(({ kind }) => kind === 'key');
    return {
        display,
        stop: server.stop,
        events,
        /** The keys since `from` events ago that are no modifiers, as [name, modifiers' bits]. */
        keys: (from) => keys(from).filter(({ name }) => !/_L$|_R$/.test(name)).map(
            ({ name, state }) => [name, state & 13]),
        /** What was typed since then, as an editor would show it. */
        text: (from = 0) => keys(from).reduce((text, { name, text: more }) =>
            (name === 'BackSpace' ? [...text].slice(0, -1).join('') : text + more), ''),
        /** The buttons that `action` has go down or up, such as ["down 1", x, y]. */
        async buttons(count, action) {
            const from = events().length;
            const buttons = () => events().slice(from).filter(({ kind }) => kind !== 'key');
            await action();
            await eventually(() => buttons().length >= count, `${count} buttons`);
            return buttons().map(({ kind, detail, x, y }) => [`${kind} ${detail}`, x, y]);
        },
    };
}

/** orvel-preview with this command line: the page's address, and what runs behind it. */
export async function startPreview(words, { display } = {}) {
    const { lines, pid, stop } = await start([ORVEL_PREVIEW, ...words], { DISPLAY: display ?? '' });
    return { address: lines[0], stop, programs: () =>
        String(spawnSync('pgrep', ['-P', pid]).stdout).split('\n').filter(Boolean) };
}

export async function startBrowser(options) {
    const browser = await chromium.launch({
        executablePath: '/usr/bin/chromium',
        args: ['--no-sandbox'], // In CI the tests run as root, whom the sandbox does not let in.
    });
    running.add({ stop: () => browser.close() });
    const viewport = { width: 1200, height: 800 };
    const context = await browser.newContext({ viewport, ...options });
    context.setDefaultTimeout(patience);
    return context;
}

/** The page at this address. */
export async function openPage(context, address) {
    const page = await context.newPage();
    page.on('pageerror', (error) => problems.push(error.stack));
    page.on('console', (message) =>
        message.text().includes('Content Security Policy') && problems.push(message.text()));
    await page.goto(address);
    return page;
}

export const until = (page, state) => page.waitForSelector(`body[data-state="${state}"]`);

/** The page, live, and heard although a new X server looks as if somebody had just used it. */
export async function openDriving(context, address) {
    const page = await openPage(context, address);
    await until(page, 'live');
    await page.evaluate(() => document.getElementById('first').click());
    return page;
}

/** Waits until the picture has these colours, as well as the video carries them. */
export function untilColoured(page, places = [
    [100, 100, 0xc02020], [500, 100, 0x20a040], [100, 400, 0x2040c0], [500, 400, 0xe0e0e0]]) {
    return eventually(() => page.evaluate((expected) => {
        const context = document.getElementById('picture').getContext('2d');
        return expected.every(([x, y, colour]) => context.getImageData(x, y, 1, 1).data.slice(0, 3)
            .every((value, index) => Math.abs(value - ((colour >> (16 - 8 * index)) & 255)) <= 6));
    }, places), 'the right colours');
}

/** The boxes of the stage and of the picture in it. */
export const boxes = (page) => Promise.all(
    ['#surface', '#picture'].map((one) => page.locator(one).boundingBox()));

/** Where in the page's window a pixel of a 640x480 picture is once the mouse is there. */
export async function placeOf(page, x, y) {
    const [stage, box] = await boxes(page);
    const across = box.width > stage.width ? stage : box; // A larger picture moves with the mouse.
    const down = box.height > stage.height ? stage : box;
    return [across.x + ((x + 0.5) / 640) * across.width, down.y + ((y + 0.5) / 480) * down.height];
}
