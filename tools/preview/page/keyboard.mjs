/**
 * Keys and text. What types a character goes into a text field, where the keyboard's layout, dead
 * keys and input methods do their work, and is sent as "text"; every other key, and every shortcut,
 * is sent as "press".
 */

const names = {
    Enter: 'return', Tab: 'tab', Escape: 'escape', Backspace: 'delete', Delete: 'forwarddelete',
    ArrowLeft: 'left', ArrowRight: 'right', ArrowUp: 'up', ArrowDown: 'down',
    Home: 'home', End: 'end', PageUp: 'pageup', PageDown: 'pagedown',
    F1: 'f1', F2: 'f2', F3: 'f3', F4: 'f4', F5: 'f5', F6: 'f6',
    F7: 'f7', F8: 'f8', F9: 'f9', F10: 'f10', F11: 'f11', F12: 'f12',
};

export class Keyboard {
    #field;
    #send;
    #modifierKeys;

    /**
     * Watches the text field `field`. `modifierKeys` are checkboxes with the names of modifiers as
     * values, for keyboards without such keys and shortcuts that the browser keeps for itself; they
     * count for one key.
     */
    constructor(field, modifierKeys, send) {
        this.#field = field;
        this.#modifierKeys = modifierKeys;
        this.#send = send;
        field.addEventListener('keydown', (event) => this.#keyDown(event));
        field.addEventListener('input', (event) => {
            if (!event.isComposing)
                this.#type();
        });
        field.addEventListener('compositionend', () => this.#type());
    }

    focus() {
        this.#field.focus({ preventScroll: true });
    }

    /** Presses and releases one key: a name or a character. */
    press(key, modifiers = []) {
        const mods = [...new Set([...modifiers, ...this.#takeModifierKeys()])];
        this.#send({ t: 'press', k: key, mods });
    }

    #keyDown(event) {
        if (event.isComposing)
            return; // The key belongs to the input method.
        const name = event.code === 'NumpadEnter' ? 'enter' : names[event.key];
        if (name)
            this.press(name, modifiersOf(event));
        else if (isShortcut(event))
            this.press(event.key === ' ' ? 'space' : event.key, modifiersOf(event));
        else
            return; // The field gets the character, and tells of it.
        event.preventDefault();
    }

    #type() {
        const text = this.#field.value;
        this.#field.value = '';
        if ([...text].length === 1 && this.#modifierKeys.some((key) => key.checked))
            this.press(text === ' ' ? 'space' : text);
        else if (text)
            this.#send({ t: 'text', s: text });
    }

    #takeModifierKeys() {
        const held = this.#modifierKeys.filter((key) => key.checked);
        for (const key of held)
            key.checked = false;
        return held.map((key) => key.value);
    }
}

// AltGr looks like Ctrl and Alt on some systems, but types characters.
function isShortcut(event) {
    const character = [...event.key].length === 1;
    const typing = event.getModifierState('AltGraph');
    return character && !typing && (event.ctrlKey || event.altKey || event.metaKey);
}

function modifiersOf(event) {
    const held = { ctrl: event.ctrlKey, option: event.altKey, cmd: event.metaKey,
                   shift: event.shiftKey };
    return Object.keys(held).filter((name) => held[name]);
}
