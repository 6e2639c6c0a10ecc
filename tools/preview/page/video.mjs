/** Decodes the program's H.264 with WebCodecs and draws it on a canvas. */

import { codecName } from './frames.mjs';

/**
 * More pictures than this in the decoder are a delay that nobody wants to watch. A page in the
 * background may stand still for a while.
 */
const longestQueue = 30;

export class Video {
    #canvas;
    #context;
    #events;
    #codec = null;
    #decoder = null; // From a key frame on.
    #arrivals = new Map(); // By presentation time.

    /**
     * `events`: `drawn(milliseconds)` after a picture was drawn, with the time since it arrived;
     * `keyNeeded()` when decoding can't go on without a key frame; `failed(error)`.
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
        if (this.#decoder?.decodeQueueSize > longestQueue) {
            this.close();
            this.#events.keyNeeded();
        }
        if (key)
            this.#configure(codecName(data));
        if (this.#decoder?.state !== 'configured')
            return;
        this.#arrivals.set(time, arrived);
        this.#decoder.decode(
            new EncodedVideoChunk({ type: key ? 'key' : 'delta', timestamp: time, data }),
        );
    }

    close() {
        if (this.#decoder && this.#decoder.state !== 'closed')
            this.#decoder.close();
        this.#decoder = null;
        this.#codec = null;
        this.#arrivals.clear();
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
        this.#context.drawImage(frame, 0, 0, this.#canvas.width, this.#canvas.height);
        const arrived = this.#arrivals.get(frame.timestamp);
        this.#arrivals.delete(frame.timestamp);
        frame.close();
        this.#events.drawn(performance.now() - arrived);
    }

    #fail(error) {
        const codec = this.#codec;
        this.close();
        this.#events.failed(error);
        if (error.name === 'NotSupportedError')
            this.#codec = codec; // The next key frame would fail as well.
        else
            this.#events.keyNeeded();
    }
}
