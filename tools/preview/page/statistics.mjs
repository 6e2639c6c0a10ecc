/** What the stream costs and how late it is, from the last pictures. Times in milliseconds. */

/** So many pictures are remembered. */
export const memory = 120;

export class Statistics {
    /** Of all pictures. */
    pictures = 0;
    keyFrames = 0;
    /** From the arrival of a picture until it was drawn, the latest last. */
    drawing = [];
    /** See `arrived`; the latest last. */
    delay = [];

    #recent = []; // {at, bytes} of the last second
    #smallestOffset = Infinity;

    /**
     * A picture of so many bytes arrived at `at`. The program's clock is not the page's, so how
     * old it is can't be told, only how much older than the one that came through quickest.
     */
    arrived({ key, time }, bytes, at) {
        this.pictures += 1;
        this.keyFrames += key ? 1 : 0;
        this.#recent.push({ at, bytes });
        const offset = at - time / 1000;
        this.#smallestOffset = Math.min(this.#smallestOffset, offset);
        remember(this.delay, offset - this.#smallestOffset);
    }

    drawn(milliseconds) {
        remember(this.drawing, milliseconds);
    }

    /** Pictures and kilobits in the second before `now`. */
    rates(now) {
        while (this.#recent.length > 0 && this.#recent[0].at < now - 1000)
            this.#recent.shift();
        const bytes = this.#recent.reduce((sum, picture) => sum + picture.bytes, 0);
        return { fps: this.#recent.length, kbps: (bytes * 8) / 1000 };
    }
}

function remember(values, value) {
    values.push(value);
    if (values.length > memory)
        values.shift();
}
