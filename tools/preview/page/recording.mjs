/** Records the stream into an MP4 file, from the next key frame on. */

import { MP4File } from './mp4.mjs';

export class Recording {
    #events;
    #file = null;
    #last = null; // {time, arrived} of the latest picture
    #size = { width: 0, height: 0 };
    #began = 0;

    /** `events`: `keyNeeded()`; `finished(file)` with the file, or null if nothing came. */
    constructor(events) {
        this.#events = events;
    }

    get running() {
        return this.#file !== null;
    }

    /** How long it has been running, in seconds. */
    seconds(now) {
        return this.running ? (now - this.#began) / 1000 : 0;
    }

    start(now) {
        this.#file = new MP4File(this.#size.width, this.#size.height);
        this.#began = now;
        this.#events.keyNeeded();
    }

    /** Pictures of this size follow; a recording that is running ends with those before. */
    resize(width, height, now) {
        this.stop(now);
        this.#size = { width, height };
    }

    /** The next picture of the stream, which arrived at `now`. */
    add(encoded, now) {
        if (!this.running)
            return;
        if (!this.#file.add(encoded))
            this.stop(now);
        else if (!this.#file.empty)
            this.#last = { time: encoded.time, arrived: now };
    }

    stop(now) {
        if (!this.running)
            return;
        const file = this.#file;
        this.#file = null;
        if (file.empty)
            return void this.#events.finished(null);
        // The last picture stood until now.
        const stood = Math.max(Math.round((now - this.#last.arrived) * 1000), 1);
        this.#events.finished(file.finish(this.#last.time + stood));
    }
}
