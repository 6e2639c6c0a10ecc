/** Records the stream into a film, from the next key frame on. */

import { Film } from './mp4.mjs';

export class Recording {
    #events;
    #film = null;
    #last = null; // {time, arrived} of the latest picture
    #size = { width: 0, height: 0 };
    #began = 0;

    /** `events`: `keyNeeded()`; `finished(film)` with the file, or null if nothing came. */
    constructor(events) {
        this.#events = events;
    }

    get running() {
        return this.#film !== null;
    }

    /** How long it has been running, in seconds. */
    seconds(now) {
        return this.running ? (now - this.#began) / 1000 : 0;
    }

    start(now) {
        this.#film = new Film(this.#size.width, this.#size.height);
        this.#began = now;
        this.#events.keyNeeded();
    }

    /** Pictures of this size follow; a film that is running ends with those before. */
    resize(width, height, now) {
        this.stop(now);
        this.#size = { width, height };
    }

    /** The next picture of the stream, which arrived at `now`. */
    add(encoded, now) {
        if (!this.running)
            return;
        if (!this.#film.add(encoded))
            this.stop(now);
        else if (!this.#film.empty)
            this.#last = { time: encoded.time, arrived: now };
    }

    stop(now) {
        if (!this.running)
            return;
        const film = this.#film;
        this.#film = null;
        if (film.empty)
            return void this.#events.finished(null);
        // The last picture stood until now.
        const stood = Math.max(Math.round((now - this.#last.arrived) * 1000), 1);
        this.#events.finished(film.finish(this.#last.time + stood));
    }
}
