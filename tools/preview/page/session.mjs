/** From start to end of watching: takes the seat, opens the stream and hands out what comes. */

import { picture } from './frames.mjs';
import { ConnectionLost, Program, SeatTaken } from './program.mjs';
import { viewerName } from './viewer.mjs';

const passing = ['input_permission', 'local_input']; // Errors after which the program goes on.
const retryTime = 1000; // ms

export class Session {
    #program = null;
    #events;

    /**
     * `events`: `entered(state, sentence)`, where a state is 'opening', 'waiting' for a seat or a
     * connection, 'live' or 'closed'; `announced(announcement)` in front of a stream of pictures;
     * `pictured(encoded, bytes)`; `copied(text)` on the desktop; `failed(code, sentence, final)`,
     * which is final if it ends the program.
     */
    constructor(events) {
        this.#events = events;
    }

    /** Sends a control message while there is a program. */
    send(message) {
        this.#program?.send(message);
    }

    /**
     * Watches, in the place of what was watched before. `opening` are the first messages. A
     * connection that breaks is made again if they may be sent `again`.
     */
    async start(options) {
        this.stop();
        this.#enter('opening', '');
        let again = true;
        while (again)
            again = await this.#watch(options);
    }

    stop() {
        this.#program?.close();
        if (this.#program)
            this.#enter('closed', 'Stopped.');
        this.#program = null;
    }

    /** Returns whether it was a broken connection that ended it, and another one is wanted. */
    async #watch({ opening, display, again }) {
        const program = new Program((sentence) => this.#events.failed('page', sentence));
        this.#program = program;
        let sentence = '';
        let retry = false;
        try {
            await this.#open(program, display, opening);
            this.#enter('opening', '');
            sentence = await this.#follow(program);
        } catch (error) {
            retry = again && error instanceof ConnectionLost;
            sentence = error.message;
        }
        program.close();
        if (this.#program !== program)
            return false; // Stopped on purpose, or another start has taken over.
        if (!retry) {
            this.#program = null;
            this.#enter('closed', sentence);
            return false;
        }
        this.#enter('waiting', `${sentence} Trying again.`);
        await pause(retryTime);
        return this.#program === program;
    }

    async #open(program, display, opening) {
        for (;;) {
            try {
                return await program.open(viewerName(), display, opening);
            } catch (error) {
                if (!(error instanceof SeatTaken) || this.#program !== program)
                    throw error;
                this.#enter('waiting', `${error.message} You are next, as soon as it leaves.`);
            }
            await pause(retryTime);
        }
    }

    /** Until the stream ends; returns the sentence that says why. */
    async #follow(program) {
        let reason = 'The program has ended.';
        for await (const { type, payload } of program.frames()) {
            if (this.#program !== program)
                break;
            const text = () => new TextDecoder().decode(payload);
            if (type === 'V') {
                this.#events.pictured(picture(payload), payload.length);
            } else if (type === 'I') {
                this.#events.announced(JSON.parse(text()));
                this.#enter('live', '');
            } else if (type === 'C') {
                this.#events.copied(text());
            } else if (type === 'E') {
                const { error, message } = JSON.parse(text());
                const final = !passing.includes(error);
                this.#events.failed(error, message, final);
                reason = final ? message : reason;
            } // What is unknown is for newer pages.
        }
        return reason;
    }

    #enter(state, sentence) {
        this.#events.entered(state, sentence);
    }
}

function pause(milliseconds) {
    return new Promise((resolve) => setTimeout(resolve, milliseconds));
}
