/** What a stream is opened with: the form over the picture, and what goes on being chosen later. */

import { keepFields, load, store } from './settings.mjs';

export class Opening {
    #parts;
    #remote;
    #start;
    #send;

    /** `start(options)` opens a stream, see `Session`; `send` is for messages to the one there is. */
    constructor(parts, remote, { start, send }) {
        this.#parts = parts;
        this.#remote = remote;
        this.#start = start;
        this.#send = send;
        const { fps, kbps, maxw, first, rate, display, opening } = parts;
        keepFields([fps, kbps, maxw, first]);
        this.#showRate(kbps.value);
        opening.addEventListener('submit', (event) => {
            event.preventDefault();
            this.submit();
        });
        rate.addEventListener('input', () => this.#showRate(rate.value));
        rate.addEventListener('change', () => this.#changeRate());
        first.addEventListener('change', () => send({ t: 'first', on: first.checked }));
        display.addEventListener('change', () => {
            store('display', display.value);
            this.submit();
        });
    }

    /** Whether the last stream took no password, so that the next one will open by itself. */
    get known() {
        return !this.#remote || load('open') === 'true';
    }

    submit() {
        const { fps, kbps, maxw, first, password } = this.#parts;
        const number = (field) => Number(field.value);
        const opening = [
            { t: 'start', fps: number(fps), kbps: number(kbps), maxw: number(maxw) },
            { t: 'first', on: first.checked },
        ];
        const secret = password.value;
        if (secret) // In front of everything else, and the only place where it goes.
            opening.unshift({ t: 'auth', password: secret });
        password.value = '';
        store('open', !secret);
        this.#showRate(kbps.value);
        this.#start({ opening, display: this.#remote ? '' : load('display'), again: !secret });
    }

    /** Offers the displays that there are. */
    announce({ display, displays }) {
        this.#parts.displayRow.hidden = displays.length < 2;
        this.#parts.display.replaceChildren(...displays.map(({ id, name, w, h }) =>
            new Option(`${name}, ${w} × ${h}`, id, false, id === display)));
    }

    #changeRate() {
        const { kbps, rate } = this.#parts;
        kbps.value = rate.value;
        kbps.dispatchEvent(new Event('change')); // It is kept.
        this.#send({ t: 'rate', kbps: Number(rate.value) });
    }

    #showRate(value) {
        this.#parts.rate.value = value;
        this.#parts.rateText.textContent = `${value} kbit/s`;
    }
}
