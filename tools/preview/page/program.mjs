/**
 * The program, through orvel-preview: its standard output is the body of one long response, and
 * what is posted goes to its standard input.
 */

import { FrameParser } from './frames.mjs';

/** Another page has the only seat; the message says which one. */
export class SeatTaken extends Error {}

/** Nobody answers any more. */
export class ConnectionLost extends Error {}

export class Program {
    #aborter = new AbortController();
    #body = null;
    #lines = [];
    #posting = false;
    #refused;

    /** `refused(sentence)` tells why control messages have not reached the program. */
    constructor(refused) {
        this.#refused = refused;
    }

    /**
     * Starts the program for this viewer, as the one who comes next is told, with this display if
     * one is chosen, and with its first messages: a password, the start message. What is sent before
     * it answers goes nowhere.
     */
    async open(viewer, display, messages) {
        const query = new URLSearchParams({ viewer, ...(display && { display }) });
        const { signal } = this.#aborter;
        const body = messages.map(line).join('');
        const response = await connected(
            fetch(`frames?${query}`, { method: 'POST', body, signal }));
        if (response.status === 409)
            throw new SeatTaken((await response.text()).trim());
        if (!response.ok)
            throw new Error(await response.text());
        this.#body = response.body;
    }

    /** Every frame, until the program ends or is closed. */
    async *frames() {
        const parser = new FrameParser();
        const reader = this.#body.getReader();
        for (;;) {
            const { done, value } = await connected(reader.read());
            if (done)
                return;
            yield* parser.push(value);
        }
    }

    /** Sends a control message. All arrive, in the order of the calls. */
    send(message) {
        if (!this.#body)
            return;
        this.#lines.push(line(message));
        if (!this.#posting)
            this.#post();
    }

    /** Ends the program: without a parent it has nothing more to do. */
    close() {
        this.#aborter.abort();
    }

    // One request at a time keeps the order; whatever comes meanwhile shares the next one.
    async #post() {
        this.#posting = true;
        try {
            while (this.#lines.length > 0)
                await this.#postLines(this.#lines.splice(0).join(''));
        } catch {
            // Without a connection there is no program any more, and the frames end as well.
        }
        this.#posting = false;
    }

    async #postLines(body) {
        const { signal } = this.#aborter;
        const response = await fetch('control', { method: 'POST', body, signal });
        const ended = response.status === 409;
        if (!response.ok && !ended)
            this.#refused(await response.text() || response.statusText);
    }
}

function line(message) {
    return JSON.stringify(message) + '\n';
}

async function connected(answer) {
    try {
        return await answer;
    } catch (error) {
        if (error instanceof TypeError) // So fetch() says it.
            throw new ConnectionLost('The connection to orvel-preview is lost.');
        throw error;
    }
}
