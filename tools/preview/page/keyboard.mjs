/**
 * Keys and text. What types a character goes into a text field, where the keyboard's layout, dead
 * keys and input methods do their work, and is sent as "text" as it grows; every other key, and
 * every shortcut, is sent as "press".
 */

import { difference } from './composition.mjs';

const names = {
    Enter: 'return', Tab: 'tab', Escape: 'escape', Backspace: 'delete', Delete: 'forwarddelete',
    ArrowLeft: 'left', ArrowRight: 'right', ArrowUp: 'up', ArrowDown: 'down',
    Home: 'home', End: 'end', PageUp: 'pageup', PageDown: 'pagedown',
    F1: 'f1', F2: 'f2', F3: 'f3', F4: 'f4', F5: 'f5', F6: 'f6',
    F7: 'f7', F8: 'f8', F9: 'f9', F10: 'f10', F11: 'f11', F12: 'f12',
};

const modifierNames = { Control: 'ctrl', Alt: 'option', Meta: 'option', Shift: 'shift' };

const pasteTime = 300; // ms that a browser's pasting may take after its shortcut

/** How people call the modifiers of the protocol. */
export const keyNames = { ctrl: 'Ctrl', option: 'Alt', cmd: 'Super', shift: 'Shift' };

// Stands in the field when nothing else does. A phone's keyboard tells of its backspace key only
// by what is missing from the field.
const padding = '\u200b';

export class Keyboard {
    #field;
    #modifiers;
    #send;
    #pasted;
    #sent = ''; // what the field had when its text was sent last
    #paste = null; // the shortcut that waits for the text to be pasted
    #leaving = false; // whether Ctrl, Alt and Shift are held, and nothing else was pressed

    /**
     * Watches the text field `field`. `modifiers.active()` names the modifiers that belong to the
     * next key besides those that are held, and `modifiers.take()` does so for that key.
     * `pasted(text)` gets this machine's clipboard in front of the shortcut that pastes. `left()` is
     * told when the person wants the keys for the page again: Tab, which does that elsewhere, is the
     * desktop's, so it is Ctrl, Alt and Shift together, without another key.
     */
    constructor(field, modifiers, { send, pasted, left }) {
        this.#field = field;
        this.#modifiers = modifiers;
        this.#send = send;
        this.#pasted = pasted;
        field.addEventListener('keydown', (event) => this.#keyDown(event));
        field.addEventListener('keyup', () => {
            if (this.#leaving)
                left();
            this.#leaving = false;
        });
        field.addEventListener('input', (event) => {
            this.#follow();
            if (!event.isComposing)
                this.#refill();
        });
        field.addEventListener('compositionend', () => this.#follow());
        field.addEventListener('paste', (event) => this.#takePaste(event));
        field.addEventListener('focus', () => this.#refill());
    }

    get focused() {
        return document.activeElement === this.#field;
    }

    focus() {
        this.#field.focus({ preventScroll: true });
    }

    blur() {
        this.#field.blur();
    }

    /** Presses and releases one key: a name or a character. */
    press(key, modifiers = []) {
        const mods = [...new Set([...modifiers, ...this.#modifiers.take()])];
        this.#send({ t: 'press', k: key, mods });
    }

    /** Types a text. */
    type(text) {
        if (text)
            this.#send({ t: 'text', s: text });
    }

    #keyDown(event) {
        this.#finishPaste();
        // Not every browser counts a modifier among those that are held from its own event on.
        const held = new Set([...modifiersOf(event), modifierNames[event.key]]);
        this.#leaving = event.key in modifierNames &&
            ['ctrl', 'option', 'shift'].every((name) => held.has(name));
        if (event.isComposing || event.keyCode === 229)
            return; // The key belongs to the input method; one browser says so by this number alone.
        const name = event.code === 'NumpadEnter' ? 'enter' : names[event.key];
        if (!name && !isShortcut(event))
            return; // The field gets the character, and tells of it.
        const press = () => this.press(name ?? (event.key === ' ' ? 'space' : event.key),
                                       modifiersOf(event));
        if (isPaste(event)) {
            this.#awaitPaste(press);
        } else {
            event.preventDefault();
            press();
        }
    }

    // Only the browser's own pasting may look at the clipboard without asking. It comes in front of
    // the next key, in some browsers at once and in some a little later, or not at all.
    #awaitPaste(press) {
        const timer = setTimeout(() => this.#finishPaste(), pasteTime);
        this.#paste = () => {
            clearTimeout(timer);
            press();
        };
    }

    #takePaste(event) {
        if (!this.#paste)
            return; // Comes from a menu: the field gets the text, and it is typed.
        event.preventDefault();
        this.#pasted(event.clipboardData.getData('text/plain'));
        this.#finishPaste();
    }

    #finishPaste() {
        const press = this.#paste;
        this.#paste = null;
        press?.();
    }

    #follow() {
        const { removed, added } = difference(this.#sent, this.#field.value);
        this.#sent = this.#field.value;
        for (let count = 0; count < removed; ++count)
            this.#send({ t: 'press', k: 'delete', mods: [] });
        if ([...added].length === 1 && this.#modifiers.active().length > 0)
            this.press(added === ' ' ? 'space' : added);
        else
            this.type(added);
    }

    #refill() {
        this.#field.value = this.#sent = padding;
    }
}

// AltGr looks like Ctrl and Alt on some systems, but types characters.
function isShortcut(event) {
    const character = [...event.key].length === 1;
    const typing = event.getModifierState('AltGraph');
    return character && !typing && (event.ctrlKey || event.altKey || event.metaKey);
}

function isPaste(event) {
    return event.key.toLowerCase() === 'v' && event.ctrlKey !== event.metaKey && !event.altKey &&
        !event.shiftKey;
}

/** The protocol's names of the modifier keys that are held during an event. */
export function modifiersOf(event) {
    const held = { ctrl: event.ctrlKey, option: event.altKey, cmd: event.metaKey,
                   shift: event.shiftKey };
    return Object.keys(held).filter((name) => held[name]);
}
