/** Shows how the stream is doing: in the header, in the page's title and in the figures. */

import { drawGraph } from './graph.mjs';

const names = {
    opening: 'Starting', waiting: 'Waiting', live: 'Live', stalled: 'Stalled', closed: 'Ended',
};
const explanations = {
    good: 'Pictures come through quickly.',
    poor: 'Pictures come late. A lower rate or a smaller picture may help.',
};

export class Status {
    #parts;
    #state = '';

    /** `parts` are the page's elements by their ids. */
    constructor(parts) {
        this.#parts = parts;
    }

    /** Whether there is a stream to be seen. */
    get watching() {
        return this.#state === 'live' || this.#state === 'stalled';
    }

    /** A state is one of `Session`'s or 'stalled'; `sentence` says why. */
    enter(state, sentence = '', name = names[state]) {
        if (state === this.#state && sentence === this.#parts.reason.textContent)
            return;
        this.#state = state;
        document.body.dataset.state = state;
        document.title = `${name} – orvel-screen preview`;
        this.#parts.state.textContent = name;
        this.#parts.reason.textContent = sentence;
        for (const button of ['screenshot', 'record', 'idr'])
            this.#parts[button].disabled = !this.watching;
        this.#showQuality('');
    }

    /** Shows what is watched. */
    announce(announcement) {
        const { w, h, display, displays } = announcement;
        document.body.dataset.seen = '';
        this.#parts.size.textContent = `${w} × ${h}`;
        this.#parts.what.textContent = displays.find(({ id }) => id === display)?.name ?? '';
        this.#parts.announcement.textContent = JSON.stringify(announcement, null, 2);
    }

    show(statistics, now) {
        const parts = this.#parts;
        const { fps, kbps } = statistics.rates(now);
        const latest = (values) => (values.length > 0 ? `${values.at(-1).toFixed(1)} ms` : '–');
        parts.pictureRate.textContent = fps.toFixed(fps > 0 && fps < 9.95 ? 1 : 0);
        parts.bitRate.textContent = Math.round(kbps);
        parts.pictures.textContent = `${statistics.pictures}, ${statistics.keyFrames}`;
        parts.skipped.textContent = statistics.skipped;
        parts.drawing.textContent = latest(statistics.drawing);
        parts.delay.textContent = latest(statistics.delay);
        if (this.#state === 'live')
            this.#showQuality(statistics.quality());
        if (parts.graph.clientWidth > 0)
            drawGraph(parts.graph, statistics);
    }

    showRecording(running, seconds) {
        const minutes = Math.floor(seconds / 60);
        const rest = String(Math.floor(seconds % 60)).padStart(2, '0');
        this.#parts.record.ariaPressed = running;
        this.#parts.recordText.textContent = running ? `Save ${minutes}:${rest}` : 'Record';
    }

    #showQuality(quality) {
        this.#parts.status.dataset.quality = quality;
        this.#parts.status.title = explanations[quality] ?? '';
        this.#parts.quality.textContent = quality;
    }
}
