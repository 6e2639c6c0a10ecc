/** What the tests start: X servers, the desktop on them, orvel-preview and the browser. */

import { spawn, spawnSync } from 'node:child_process';
import { createInterface } from 'node:readline';
import { after, describe } from 'node:test';
import { chromium } from 'playwright-core';

const { ORVEL_SCREEN, ORVEL_PREVIEW, BROWSER_DESKTOP } = process.env;
const patience = 20_000; // ms; for a busy machine

const running = new Set(); // what has to be stopped in the end

/** Tests that belong together; what they have started ends with them. */
export function suite(name, tests) {
    describe(name, { timeout: 10 * patience }, () => {
        after(() => Promise.all([...running].map((one) => one.stop())));
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

/** A private X server with the desktop of four colours on it. */
export async function startDesktop() {
    const server = new Lines(['Xvfb', '-displayfd', '1', '-screen', '0', '640x480x24',
                              '-nolisten', 'tcp', '-noreset']);
    return desktopOn(server, `:${await server.first()}`);
}

/** The same on a VNC server. */
export async function startVNCDesktop(passwordFile) {
    const server = new Lines(['Xvnc', '-displayfd', '1', '-geometry', '640x480', '-depth', '24',
                              '-SecurityTypes', 'VncAuth', '-PasswordFile', passwordFile,
                              '-localhost', '-Log', '*:stderr:0']);
    const number = await server.first();
    return { ...await desktopOn(server, `:${number}`), port: 5900 + Number(number) };
}

async function desktopOn(server, display) {
    const client = new Lines([BROWSER_DESKTOP, display]);
    await client.first();
    return {
        display,
        server,
        events: () => client.lines.slice(1).map((line) => JSON.parse(line)),
        /** All that was typed. */
        text() {
            const keys = this.events().filter(({ kind }) => kind === 'key');
            return keys.map(({ text }) => text).join('');
        },
    };
}

/** orvel-preview with this program: the page's address, and what runs behind it. */
export async function startPreview(command, environment) {
    const preview = new Lines([ORVEL_PREVIEW, '--program', ...command], environment);
    const address = await preview.first();
    return {
        address,
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

/** The page at this address. What goes wrong in it is added to `problems`. */
export async function openPage(context, address, problems = []) {
    const page = await context.newPage();
    page.on('pageerror', (error) => problems.push(String(error)));
    page.on('console', (message) => {
        if (message.text().includes('Content Security Policy'))
            problems.push(message.text());
    });
    await page.goto(address);
    return page;
}

export function untilLive(page) {
    return page.waitForSelector('body[data-state="live"]');
}

/** The same, live, and heard although a new X server looks as if somebody had just used it. */
export async function openDriving(context, address, problems) {
    const page = await openPage(context, address, problems);
    await untilLive(page);
    await page.check('#first');
    return page;
}

/** Waits until the picture has the desktop's colours, as well as the video carries them. */
export function untilColoured(page) {
    const tolerance = 6;
    const expected = [
        { x: 100, y: 100, colour: [0xc0, 0x20, 0x20] },
        { x: 500, y: 100, colour: [0x20, 0xa0, 0x40] },
        { x: 100, y: 400, colour: [0x20, 0x40, 0xc0] },
        { x: 500, y: 400, colour: [0xe0, 0xe0, 0xe0] },
    ];
    return eventually(async () => {
        for (const { x, y, colour } of expected) {
            const shown = await colourAt(page, x, y);
            if (colour.some((value, index) => Math.abs(value - shown[index]) > tolerance))
                return false;
        }
        return true;
    }, 'the right colours');
}

/** As [red, green, blue]. */
function colourAt(page, x, y) {
    return page.evaluate(([column, row]) => {
        const context = document.getElementById('picture').getContext('2d');
        return [...context.getImageData(column, row, 1, 1).data.slice(0, 3)];
    }, [x, y]);
}

/** Where a pixel of the picture is in the page's window. */
export async function placeOf(page, x, y) {
    const box = await page.locator('#picture').boundingBox();
    const size = await page.evaluate(() => {
        const { width, height } = document.getElementById('picture');
        return { width, height };
    });
    return {
        x: box.x + ((x + 0.5) / size.width) * box.width,
        y: box.y + ((y + 0.5) / size.height) * box.height,
    };
}
