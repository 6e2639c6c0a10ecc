/** Wires the page's modules to each other and to its elements. */

import { Clipboard } from './clipboard.mjs';
import { Fingers } from './fingers.mjs';
import { DirectTouch, Trackpad } from './hands.mjs';
import { KeyBar, keepFocus } from './keybar.mjs';
import { Keyboard, keyNames } from './keyboard.mjs';
import { openParts, stayAboveKeyboard, underFingers } from './layout.mjs';
import { followMouse } from './mouse.mjs';
import { Notices } from './notices.mjs';
import { Opening } from './opening.mjs';
import { Pointer } from './pointer.mjs';
import { saveScreenshot } from './saving.mjs';
import { keepFields } from './settings.mjs';
import { Status } from './status.mjs';
import { Stream } from './stream.mjs';
import { decodesVideo } from './video.mjs';
import { View } from './view.mjs';

const on = Object.fromEntries([...document.querySelectorAll('[id]')].map((one) => [one.id, one]));
const words = (await (await fetch('command')).text()).split(' ');
const remote = words[1] === 'vnc';
const clicked = (button, act) => button.addEventListener('click', act);

// What comes from the desktop.

const status = new Status(on);
const notices = new Notices(on.notices, on.errors);
const view = new View(on.surface, on.picture, (text) => (on.scale.textContent = text));
const stream = new Stream(on.picture, status, {
    announced(announcement) {
        view.resize();
        opening.announce(announcement);
    },
    started() {
        clipboard.meet(on.clipsync.checked);
        if (!underFingers() && document.activeElement === document.body)
            keyboard.focus();
    },
    copied: (text) => clipboard.receive(text),
    failed(code, sentence, final) {
        notices.list(code, sentence);
        const goFirst = { label: 'Go first', act: () => on.first.click() };
        if (!final) // The form over the picture says what has ended.
            notices.show(sentence, code === 'local_input' ? goFirst : null);
    },
});
const send = (message) => stream.send(message);
const opening = new Opening(on, remote, {
    send,
    start(options) {
        pointer.recentre();
        stream.start(options);
    },
});

// What goes to it.

const clipboard = new Clipboard(on.clipboard, send);
const pointer = new Pointer(send, (held) => {
    const names = [...held, ...keyBar.active()].map((name) => keyNames[name]);
    if (names.length > 0)
        notices.show(`A ${underFingers() ? 'tap' : 'click'} goes without ${names.join(' and ')}: ` +
                     'only keys can carry them.');
});
const keyBar = new KeyBar(on.keys, {
    press: (key, modifiers) => keyboard.press(key, modifiers),
    clicked: () => keyboard.focus(),
});
const keyboard = new Keyboard(on.typing, keyBar, {
    send,
    pasted: (text) => on.clipsync.checked && clipboard.give(text),
    left: () => on.scale.focus(),
});
const hands = {
    trackpad: new Trackpad(pointer, view, on.picture),
    direct: new DirectTouch(pointer, view, on.picture),
};
new Fingers(on.surface, pointer, view, () => hands[on.hand.value]);
followMouse(on.surface, on.picture, view, pointer);
on.surface.addEventListener('pointerup', ({ pointerType }) => {
    if (pointerType !== 'touch') // A phone would show its keyboard.
        keyboard.focus();
});

clicked(on.softKeyboard, () => (keyboard.focused ? keyboard.blur() : keyboard.focus()));
clicked(on.scale, () => view.setMode(view.mode === 'fit' ? 'actual' : 'fit'));
clicked(on.screenshot, () => saveScreenshot(on.picture));
clicked(on.record, () => stream.record());
window.addEventListener('beforeunload', (event) => {
    if (stream.recording) // It would be lost.
        event.preventDefault();
});
clicked(on.stop, () => stream.stop());
clicked(on.cancel, () => stream.stop());
clicked(on.idr, () => stream.askForKey());
clicked(on.clip, () => send({ t: 'clip', s: on.clipboard.value }));
clicked(on.typeIt, () => keyboard.type(on.clipboard.value));
clicked(on.copy, () => navigator.clipboard.writeText(on.clipboard.value).catch(
    () => notices.show('The browser keeps its clipboard to itself.')));
for (const button of document.querySelectorAll('.pasteHere'))
    clicked(button, async () => {
        const text = await clipboard.read();
        if (text === null)
            notices.show('The browser keeps its clipboard to itself. Put the text into the side ' +
                         'bar’s field, then “Type it”.');
        else
            keyboard.type(text);
    });
on.clipsync.addEventListener('change', () => clipboard.sync(on.clipsync.checked));

// The start.

keepFields([on.clipsync, on.hand]);
for (const button of document.querySelectorAll('header, aside button'))
    keepFocus(button);
openParts(on);
stayAboveKeyboard();
document.body.dataset.command = words[1];
on.command.textContent = words.slice(1).join(' ');
if (!await decodesVideo()) {
    on.opening.replaceChildren(on.reason);
    status.enter('closed', 'This browser can’t show the desktop: its WebCodecs decode no H.264.',
                 'No video');
} else if (opening.known) {
    opening.submit();
} else {
    status.enter('closed', 'The server may want a password.', 'Waiting');
}
