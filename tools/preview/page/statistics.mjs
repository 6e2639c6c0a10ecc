/** What the stream costs and how late it is, from the last pictures. Times in milliseconds. */

/** So many pictures are remembered. */
export const memory = 120;

const rateTime = 2000; // Rates are counted over this time,
const offsetTime = 30_000; // and the quickest picture is one of the last one or two of these.
const poorLateness = 120; // Later than this feels slow.

export class Statistics {
    /** Of all pictures. */
    pictures = 0;
    keyFrames = 0;
    skipped = 0;
    /** From the arrival of a picture until it was drawn, the latest last. */
    drawing = [];
    /** See `arrived`; the latest last. */
    delay = [];

    #began = null;
    #recent = []; // {at, bytes}
    #drawn = []; // when
    #quickest = [Infinity, Infinity]; // offsets, in this and in the last stretch of time
    #stretch = 0;

    /**
     * A picture of so many bytes arrived at `at`. The program's clock is not the page's, so how
     * old it is can't be told, only how much older than the one that came through quickest. Clocks
     * drift apart, which is why that one may not be long ago.
     */
    arrived({ key, time }, bytes, at) {
        this.#began ??= at;
        this.pictures += 1;
        this.keyFrames += key ? 1 : 0;
        this.#recent.push({ at, bytes });
        const offset = at - time / 1000;
        if (at - this.#stretch > offsetTime) {
            this.#quickest = [Infinity, this.#quickest[0]];
            this.#stretch = at;
        }
        this.#quickest[0] = Math.min(this.#quickest[0], offset);
        remember(this.delay, offset - Math.min(...this.#quickest));
    }

    drawn(milliseconds, at) {
        remember(this.drawing, milliseconds);
        this.#drawn.push(at);
    }

    /** Pictures drawn and kilobits arrived, both a second, over the time before `now`. */
    rates(now) {
        const from = now - rateTime;
        this.#recent = this.#recent.filter(({ at }) => at >= from);
        this.#drawn = this.#drawn.filter((at) => at >= from);
        const seconds = Math.max(Math.min(rateTime, now - (this.#began ?? now)), 250) / 1000;
        const bits = this.#recent.reduce((sum, { bytes }) => sum + bytes * 8, 0);
        return { fps: this.#drawn.length / seconds, kbps: bits / 1000 / seconds };
    }

    /** 'good' or 'poor', by how late the last pictures were; '' before there are any. */
    quality() {
        if (this.delay.length === 0)
            return '';
        const lateness = median(this.delay) + (median(this.drawing) ?? 0);
        return lateness > poorLateness ? 'poor' : 'good';
    }
}

/** Of the last few; undefined if there are none. */
function median(values) {
    const last = values.slice(-9).sort((one, other) => one - other);
    return last[last.length >> 1];
}

function remember(values, value) {
    values.push(value);
    if (values.length > memory)
        values.shift();
}
