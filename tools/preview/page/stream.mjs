/** Takes what the program sends to where it is shown, recorded and measured. */

import { Pulse } from './pulse.mjs';
import { Recording } from './recording.mjs';
import { save } from './saving.mjs';
import { Session } from './session.mjs';
import { Statistics } from './statistics.mjs';
import { Video } from './video.mjs';

const showTime = 250; // ms from one look at the figures to the next

export class Stream {
    #session;
    #video;
    #recording;
    #pulse = new Pulse(() => this.askForKey());
    #statistics = new Statistics();
    #status;
    #events;

    /**
     * `events`: `announced(announcement)` in front of a stream of pictures; `started()` once a
     * program listens; `copied(text)` on the desktop; `failed(code, sentence, final)`.
     */
    constructor(canvas, status, events) {
        this.#status = status;
        this.#events = events;
        this.#session = new Session({
            entered: (state, sentence) => this.#enter(state, sentence),
            announced: (announcement) => this.#announce(announcement),
            pictured: (encoded, bytes) => this.#take(encoded, bytes),
            copied: events.copied,
            failed: events.failed,
        });
        const keyNeeded = () => this.askForKey();
        this.#video = new Video(canvas, {
            drawn: (age) => this.#statistics.drawn(age, performance.now()),
            skipped: () => (this.#statistics.skipped += 1),
            keyNeeded,
            failed: ({ message }) =>
                events.failed('page', `This browser failed to decode a picture. ${message}`),
        });
        this.#recording = new Recording({
            keyNeeded,
            finished: (file) => (file ? save(file, 'mp4')
                : events.failed('page', 'No picture came that could be recorded.')),
        });
        setInterval(() => this.#show(), showTime);
    }

    /** See `Session`. */
    start(options) {
        this.#statistics = new Statistics();
        this.#session.start(options);
    }

    stop() {
        this.#session.stop();
    }

    /** Sends a control message, if there is a program. */
    send(message) {
        this.#session.send(message);
    }

    askForKey() {
        this.send({ t: 'idr' });
    }

    get recording() {
        return this.#recording.running;
    }

    /** Starts a recording, or ends and saves it. */
    record() {
        const now = performance.now();
        if (this.#recording.running)
            this.#recording.stop(now);
        else if (this.#status.watching)
            this.#recording.start(now);
        this.#show();
    }

    #enter(state, sentence) {
        const started = state === 'live' && !this.#status.watching;
        this.#status.enter(state, sentence);
        if (started)
            this.#events.started();
        if (state === 'live')
            return;
        this.#pulse.rest();
        this.#recording.stop(performance.now());
        this.#video.close();
    }

    #announce(announcement) {
        const { w, h } = announcement;
        const now = performance.now();
        this.#video.resize(w, h);
        this.#recording.resize(w, h, now);
        this.#pulse.beat(now);
        this.#status.announce(announcement);
        this.#events.announced(announcement);
    }

    #take(encoded, bytes) {
        const now = performance.now();
        this.#pulse.beat(now);
        this.#statistics.arrived(encoded, bytes, now);
        this.#recording.add(encoded, now);
        this.#video.decode(encoded, now);
    }

    #show() {
        const now = performance.now();
        if (this.#status.watching)
            this.#status.enter(this.#pulse.stalled(now) ? 'stalled' : 'live');
        this.#status.show(this.#statistics, now);
        this.#status.showRecording(this.#recording.running, this.#recording.seconds(now));
    }
}
