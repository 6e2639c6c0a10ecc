/** What the tests start: X servers, the desktop on them, orvel-preview and the browser. */

import { spawn, spawnSync } from 'node:child_process';
import { createInterface } from 'node:readline';
import { after, describe } from 'node:test';
import { chromium } from 'playwright-core';

const { ORVEL_SCREEN, ORVEL_PREVIEW, BROWSER_DESKTOP } = process.env;
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
    const deadline = Date.now() + patience;
    for (;;) {
        const answer = await question();
        if (answer)
            return answer;
        if (Date.now() > deadline)
            throw new Error(`never ${what}`);
        await new Promise((resolve) => setTimeout(resolve, 20));
    }
}

/** A child whose lines of output are collected. */
class Lines {
    lines = [];

    constructor(command, environment = {}) {
        const [program, ...words] = command;
        this.child = spawn(program, words, {
            env: { ...process.env, ...environment },
            stdio: ['ignore', 'pipe', 'inherit'],
        });
        running.add(this);
        this.ended = new Promise((resolve) => this.child.on('close', resolve));
        createInterface(this.child.stdout).on('line', (line) => this.lines.push(line));
    }

    first() {
        return eventually(() => this.lines[0], `a line from ${this.child.spawnfile}`);
    }

    stop() {
        this.child.kill('SIGKILL');
        return this.ended;
    }
}

/** A private X server, `words`, with the desktop of four colours on it. */
export async function startDesktop(words = ['Xvfb', '-screen', '0', '640x480x24', '-noreset']) {
    const server = new Lines([...words, '-displayfd', '1', '-nolisten', 'tcp']);
    const number = await server.first();
    const client = new Lines([BROWSER_DESKTOP, `:${number}`]);
    await client.first();
    const events = () => client.lines.slice(1).map((line) => JSON.parse(line));
    return {
        number,
        display: `:${number}`,
        server,
        events,
        /** What was typed since `start` events ago, as an editor would show it. */
        text: (start = 0) => events().slice(start).filter(({ kind }) => kind === 'key').reduce(
            (text, key) => (key.name === 'BackSpace' ? [...text].slice(0, -1).join('') : text + key.text), ''),
        /** The buttons that `action` has go down or up, such as "down 1", with their places. */
        async buttons(count, action) {
            const start = events().length;
            const buttons = () => events().slice(start).filter(({ kind }) => kind !== 'key');
            await action();
            await eventually(() => buttons().length >= count, `${count} buttons`);
            return buttons().map(({ kind, detail, x, y }) => ({ button: `${kind} ${detail}`, x, y }));
        },
    };
}

/** orvel-preview with this program and its words: the page's address, and what runs behind it. */
export async function startPreview(command, environment, options = []) {
    const preview = new Lines([ORVEL_PREVIEW, ...options, '--program', ...command], environment);
    const address = await preview.first();
    return {
        address,
        stop: () => preview.stop(),
        programs: () => spawnSync('pgrep', ['-P', preview.child.pid]).stdout.toString().split('\n')
            .filter(Boolean),
    };
}

export function startScreenPreview(words, display) {
    return startPreview([ORVEL_SCREEN, ...words], { DISPLAY: display });
}

export async function startBrowser(options = {}) {
    const browser = await chromium.launch({
        executablePath: '/usr/bin/chromium',
        // In CI the tests run as root, whom the sandbox does not let in.
        args: ['--no-sandbox'],
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
    page.on('console', (message) => {
        if (message.text().includes('Content Security Policy'))
            problems.push(message.text());
    });
    await page.goto(address);
    return page;
}

export function until(page, state) {
    return page.waitForSelector(`body[data-state="${state}"]`);
}

/** The same, live, and heard although a new X server looks as if somebody had just used it. */
export async function openDriving(context, address) {
    const page = await openPage(context, address);
    await until(page, 'live');
    if (!await page.isChecked('#first'))
        await page.evaluate(() => document.getElementById('first').click());
    return page;
}

/** Waits until the picture has these colours, as well as the video carries them. */
export function untilColoured(page, places = [
    [100, 100, 0xc02020], [500, 100, 0x20a040], [100, 400, 0x2040c0], [500, 400, 0xe0e0e0]]) {
    return eventually(() => page.evaluate((expected) => {
        const context = document.getElementById('picture').getContext('2d');
        return expected.every(([x, y, colour]) =>
            [...context.getImageData(x, y, 1, 1).data.slice(0, 3)].every(
                (value, index) => Math.abs(value - ((colour >> (16 - 8 * index)) & 255)) <= 6));
    }, places), 'the right colours');
}

/** Where in the page's window a pixel of the picture is once the mouse is there. */
export async function placeOf(page, x, y) {
    const [stage, box] = await Promise.all(['#surface', '#picture'].map(
        (one) => page.locator(one).boundingBox()));
    const [width, height] = await page.evaluate(() => {
        const canvas = document.getElementById('picture');
        return [canvas.width, canvas.height];
    });
    const across = box.width > stage.width ? stage : box; // A larger picture moves with the mouse.
    const down = box.height > stage.height ? stage : box;
    return { x: across.x + ((x + 0.5) / width) * across.width,
             y: down.y + ((y + 0.5) / height) * down.height };
}
