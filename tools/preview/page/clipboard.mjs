/**
 * Keeps this machine's clipboard and the desktop's in step, as far as the browser allows: to write
 * it the page must have the focus, to read it also the person's permission.
 */
export class Clipboard {
    #field;
    #send;
    #shared = ''; // what both have, as far as it is known
    #replaced = null; // what this machine still has of before, if the browser has not let go of it
    #unwritten = null; // for when the page has the focus again
    #on = false;

    /** `field` shows the desktop's text. */
    constructor(field, send) {
        this.#field = field;
        this.#send = send;
        window.addEventListener('focus', () => this.#exchange());
        document.addEventListener('pointerup', () => this.#write());
    }

    /** A program that has just started knows nothing yet. */
    async meet(on) {
        this.#shared = '';
        this.#turn(on);
        await this.#exchange();
    }

    /** The person switches it on or off, and may be asked for permission. */
    async sync(on) {
        this.#turn(on);
        if (on)
            this.give(await this.read() ?? '');
    }

    /** This was copied on the desktop. */
    async receive(text) {
        this.#replaced = this.#shared;
        this.#shared = this.#field.value = text;
        this.#unwritten = this.#on ? text : null;
        await this.#write();
    }

    /** This is to be on the desktop's clipboard, unless it is there already. */
    give(text) {
        if (text === '' || text === this.#shared || text === this.#replaced)
            return;
        this.#shared = this.#field.value = text;
        this.#send({ t: 'clip', s: text });
    }

    /** This machine's text; null if the browser does not say. */
    async read() {
        try {
            return await navigator.clipboard.readText();
        } catch {
            return null;
        }
    }

    #turn(on) {
        this.#on = on;
        this.#send({ t: 'clipsync', on });
    }

    async #exchange() {
        await this.#write();
        if (this.#on && await mayRead())
            this.give(await this.read() ?? '');
    }

    async #write() {
        const text = this.#unwritten;
        if (text === null)
            return;
        try {
            await navigator.clipboard.writeText(text);
            this.#unwritten = this.#replaced = null;
        } catch {
            // Once more at the next click, or when the page has the focus.
        }
    }
}

async function mayRead() {
    try {
        return (await navigator.permissions.query({ name: 'clipboard-read' })).state === 'granted';
    } catch {
        return false; // A browser that asks every time.
    }
}
