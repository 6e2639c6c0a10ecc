/** The page: plays the phone, and shows what a phone does not. */

import { picture } from './frames.mjs';
import { drawGraph } from './graph.mjs';
import { Keyboard } from './keyboard.mjs';
import { followMouse } from './mouse.mjs';
import { Pointer } from './pointer.mjs';
import { Program } from './program.mjs';
import { Statistics } from './statistics.mjs';
import { Trackpad } from './trackpad.mjs';
import { Video } from './video.mjs';

const on = Object.fromEntries([...document.querySelectorAll('[id]')].map((one) => [one.id, one]));

const passing = ['input_permission', 'local_input']; // Errors after which the program goes on.

let program = null;
let statistics = new Statistics();

const send = (message) => program?.send(message);
const video = new Video(on.picture, {
    drawn: (milliseconds) => statistics.drawn(milliseconds),
    keyNeeded: () => send({ t: 'idr' }),
    failed: (error) => report('page', `This browser can't decode the picture. ${error.message}`),
});

// From start to end.

async function run() {
    enter('opening', 'Starting');
    program = new Program((sentence) => report('page', sentence));
    pointer.recentre();
    statistics = new Statistics();
    let reason = 'The program has ended.';
    try {
        await program.open();
        sendOpening();
        for await (const frame of program.frames())
            reason = handle(frame) ?? reason;
    } catch (error) {
        reason = error.name === 'AbortError' ? 'Stopped.' : error.message;
    }
    program.close();
    program = null;
    video.close();
    enter('closed', 'Ended', reason);
}

function sendOpening() {
    // In front of everything else, and the only place where a password goes.
    if (on.password.value)
        send({ t: 'auth', password: on.password.value });
    on.password.value = '';
    const number = (field) => Number(field.value);
    send({ t: 'start', fps: number(on.fps), kbps: number(on.kbps), maxw: number(on.maxw) });
    showRate(on.kbps.value);
    for (const choice of [on.first, on.clipsync])
        if (choice.checked)
            send({ t: choice.id, on: true });
}

/** Returns the sentence of an error that ends the program. */
function handle({ type, payload }) {
    const text = () => new TextDecoder().decode(payload);
    switch (type) {
    case 'I':
        announce(JSON.parse(text()));
        break;
    case 'V':
        decode(picture(payload), payload.length);
        break;
    case 'C':
        on.clipboard.value = text();
        break;
    case 'E': {
        const { error, message } = JSON.parse(text());
        report(error, message);
        return passing.includes(error) ? undefined : message;
    }
    }
    return undefined; // What is unknown is for newer pages.
}

function announce(announcement) {
    video.resize(announcement.w, announcement.h);
    on.size.textContent = `${announcement.w} × ${announcement.h}`;
    on.announcement.textContent = JSON.stringify(announcement, null, 2);
    enter('live', 'Live');
}

function decode(encoded, bytes) {
    const now = performance.now();
    statistics.arrived(encoded, bytes, now);
    video.decode(encoded, now);
}

// What is shown.

function enter(state, text, reason = '') {
    document.body.dataset.state = state;
    on.state.textContent = text;
    on.reason.textContent = reason;
}

function report(code, sentence) {
    const entry = document.createElement('li');
    const label = document.createElement('code');
    label.textContent = `${new Date().toLocaleTimeString()} ${code}`;
    entry.append(label, sentence);
    on.errors.prepend(entry);
}

function showRate(kbps) {
    on.rate.value = kbps;
    on.rateText.textContent = `${kbps} kbit/s`;
}

function showStatistics() {
    const { fps, kbps } = statistics.rates(performance.now());
    const latest = (values) => (values.length > 0 ? `${values.at(-1).toFixed(1)} ms` : '–');
    on.pictureRate.textContent = fps;
    on.bitRate.textContent = Math.round(kbps);
    on.pictures.textContent = `${statistics.pictures}, ${statistics.keyFrames}`;
    on.drawing.textContent = latest(statistics.drawing);
    on.delay.textContent = latest(statistics.delay);
    drawGraph(on.graph, statistics);
}

// What the person does.

const pointer = new Pointer(send);
const keyboard = new Keyboard(on.typing, [...document.getElementsByName('modifier')], send);
followMouse(on.picture, pointer);
new Trackpad(on.picture, pointer);
on.picture.addEventListener('pointerup', (event) => {
    if (event.pointerType !== 'touch') // A phone would show its keyboard.
        keyboard.focus();
});
for (const key of document.querySelectorAll('[data-key]'))
    key.addEventListener('click', () => keyboard.press(key.dataset.key));

on.opening.addEventListener('submit', (event) => {
    event.preventDefault();
    run();
});
on.stop.addEventListener('click', () => program?.close());
on.idr.addEventListener('click', () => send({ t: 'idr' }));
on.rate.addEventListener('input', () => showRate(on.rate.value));
on.rate.addEventListener('change', () => send({ t: 'rate', kbps: Number(on.rate.value) }));
on.first.addEventListener('change', () => send({ t: 'first', on: on.first.checked }));
on.clipsync.addEventListener('change', () => send({ t: 'clipsync', on: on.clipsync.checked }));
on.clip.addEventListener('click', () => send({ t: 'clip', s: on.clipboard.value }));
on.copy.addEventListener('click', () => navigator.clipboard.writeText(on.clipboard.value));

const words = (await (await fetch('command')).text()).split(' ');
on.command.textContent = words.slice(1).join(' ');
document.body.dataset.command = words[1];
showRate(on.kbps.value);
setInterval(showStatistics, 250);
if (!window.VideoDecoder)
    enter('closed', 'Waiting', 'This browser has no WebCodecs, which decode the picture.');
else if (words[1] === 'vnc')
    enter('closed', 'Waiting', 'The server may want a password.');
else
    run();
