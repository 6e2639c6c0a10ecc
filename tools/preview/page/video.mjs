/** Decodes the program's H.264 with WebCodecs and draws it on a canvas. */

import { codecName } from './h264.mjs';

/** A picture older than this is not drawn while a newer one waits, in milliseconds. */
const maxAge = 150;
/** Where decoding is as late as this, starting anew with a key frame is quicker. */
const hopelessAge = 1000;
/** What has failed may fail again, so it is not tried at once. */
const retryTime = 500;

/** Whether this browser decodes what the program writes: H.264, up to 60 pictures of 1080p a second. */
export async function decodesVideo() {
    const support = await window.VideoDecoder?.isConfigSupported({ codec: 'avc1.64002a' });
    return support?.supported ?? false;
}

/** The pictures in the decoder, by presentation time, in the order of their arrival. */
export class Backlog {
    #arrivals = new Map();

    add(time, now) {
        this.#arrivals.set(time, now);
    }

    /** The picture is decoded: when it arrived, and whether it is worth drawing. */
    take(time, now) {
        const arrived = this.#arrivals.get(time);
        for (const earlier of this.#arrivals.keys()) {
            if (earlier > time)
                break;
            this.#arrivals.delete(earlier); // A decoder may give up a picture without a word.
        }
        return { arrived, worth: now - arrived <= maxAge || this.#arrivals.size === 0 };
    }

    /** Whether the oldest picture has waited so long that nobody wants to see it. */
    hopeless(now) {
        const [oldest] = this.#arrivals.values();
        return now - oldest > hopelessAge;
    }

    clear() {
        this.#arrivals.clear();
    }
}

export class Video {
    #canvas;
    #context;
    #events;
    #codec = null;
    #decoder = null; // From a key frame on.
    #backlog = new Backlog();

    /**
     * `events`: `drawn(milliseconds)` after a picture was drawn, with the time since it arrived;
     * `skipped()` for one that was too late; `keyNeeded()` when decoding can't go on without a key
     * frame; `failed(error)`.
     */
    constructor(canvas, events) {
        this.#canvas = canvas;
        this.#context = canvas.getContext('2d', { alpha: false });
        this.#events = events;
    }

    /** Another stream follows, its pictures of this size. */
    resize(width, height) {
        this.close();
        this.#canvas.width = width;
        this.#canvas.height = height;
    }

    /** Decodes the next picture, which arrived at this `performance.now()`. */
    decode({ key, time, data }, arrived) {
        // A decoder may keep a picture back for its own reasons; one that has a queue is late.
        if (this.#decoder?.decodeQueueSize > 0 && this.#backlog.hopeless(arrived)) {
            this.close();
            this.#events.keyNeeded();
        }
        if (key)
            this.#configure(codecName(data));
        if (this.#decoder?.state !== 'configured')
            return;
        this.#backlog.add(time, arrived);
        this.#decoder.decode(
            new EncodedVideoChunk({ type: key ? 'key' : 'delta', timestamp: time, data }),
        );
    }

    close() {
        if (this.#decoder && this.#decoder.state !== 'closed')
            this.#decoder.close();
        this.#decoder = null;
        this.#codec = null;
        this.#backlog.clear();
    }

    #configure(codec) {
        if (!codec || codec === this.#codec)
            return;
        this.close();
        this.#codec = codec;
        this.#decoder = new VideoDecoder({
            output: (frame) => this.#draw(frame),
            error: (error) => this.#fail(error),
        });
        // Without a description the data is a byte stream (Annex B), as the program writes it.
        this.#decoder.configure({ codec, optimizeForLatency: true });
    }

    #draw(frame) {
        const { worth, arrived } = this.#backlog.take(frame.timestamp, performance.now());
        if (worth)
            this.#context.drawImage(frame, 0, 0, this.#canvas.width, this.#canvas.height);
        frame.close();
        if (worth)
            this.#events.drawn(performance.now() - arrived);
        else
            this.#events.skipped();
    }

    #fail(error) {
        this.close();
        this.#events.failed(error);
        setTimeout(this.#events.keyNeeded, retryTime);
    }
}
