/**
 * Tells a stream that stands still from one that has stopped answering. A still desktop sends
 * nothing, so after some silence the page asks for a key frame, which the program owes it at once.
 */

const silence = 8000; // ms without a frame before it asks,
const answerTime = 3000; // ms that an answer may take

export class Pulse {
    #ask;
    #heard = Infinity; // when the last frame came; never while nobody watches
    #asked = null; // when the unanswered question was sent

    /** `ask()` sends the question. */
    constructor(ask) {
        this.#ask = ask;
    }

    /** A frame arrived. */
    beat(now) {
        this.#heard = now;
        this.#asked = null;
    }

    rest() {
        this.beat(Infinity);
    }

    /** To be called several times a second. Returns whether the stream has stopped answering. */
    stalled(now) {
        if (this.#asked === null && now - this.#heard > silence) {
            this.#asked = now;
            this.#ask();
        }
        return this.#asked !== null && now - this.#asked > answerTime;
    }
}
