/**
 * Keys to tap, for keyboards without them and for shortcuts that the browser keeps for itself. The
 * bar never takes the focus: what has the keys goes on having them, and a phone's keyboard stays.
 */

const holdTime = 400; // ms until a key that is held begins to repeat,
const repeatTime = 60; // ms from one repetition to the next

export class KeyBar {
    #modifiers; // Buttons; `aria-pressed` says "true" for the next key, "mixed" until tapped again.
    #events;
    #repeating = null;

    /**
     * `bar` has buttons with `data-modifier`, and buttons with `data-key` and possibly `data-mods`.
     * `events`: `press(key, modifiers)`; `clicked()` after a button was, with a mouse.
     */
    constructor(bar, events) {
        this.#events = events;
        this.#modifiers = [...bar.querySelectorAll('[data-modifier]')];
        for (const button of this.#modifiers)
            button.addEventListener('click', () => this.#advance(button));
        for (const button of bar.querySelectorAll('[data-key]'))
            this.#watchKey(button);
        keepFocus(bar);
        bar.addEventListener('click', (event) => {
            if (event.pointerType === 'mouse')
                events.clicked();
        });
    }

    /** The names of the modifiers that are down for the next key. */
    active() {
        return this.#modifiers.filter((button) => button.ariaPressed !== 'false')
            .map((button) => button.dataset.modifier);
    }

    /** The same, for the key that is pressed now. */
    take() {
        const names = this.active();
        for (const button of this.#modifiers)
            if (button.ariaPressed === 'true')
                button.ariaPressed = 'false';
        return names;
    }

    #advance(button) {
        button.ariaPressed = { false: 'true', true: 'mixed', mixed: 'false' }[button.ariaPressed];
    }

    #watchKey(button) {
        const { key, mods = '' } = button.dataset;
        let repeated = false;
        const press = () => this.#events.press(key, mods.split(' ').filter(Boolean));
        const repeat = () => {
            repeated = true;
            press();
            this.#repeating = setTimeout(repeat, repeatTime);
        };
        button.addEventListener('pointerdown', () => {
            repeated = false;
            if (!mods) // A whole shortcut is meant once.
                this.#repeating = setTimeout(repeat, holdTime);
        });
        for (const type of ['pointerup', 'pointercancel', 'pointerleave'])
            button.addEventListener(type, () => clearTimeout(this.#repeating));
        button.addEventListener('click', () => {
            if (!repeated)
                press();
        });
    }
}

/** Has clicks on this element leave the focus where it is. */
export function keepFocus(element) {
    element.addEventListener('mousedown', (event) => event.preventDefault());
}
