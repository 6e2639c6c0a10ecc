/**
 * Takes apart what the program writes: frames of a type byte, the payload's length as four
 * big-endian bytes, and the payload.
 *
 *     I  JSON: what the video that follows shows
 *     V  one encoded picture, see `picture`
 *     C  clipboard text, UTF-8
 *     E  JSON: {"error": code, "message": sentence for the phone's user}
 */

const headerSize = 5;
const maxPayload = 64 << 20; // What claims to be longer is no frame.

export class FrameParser {
    #buffer = new Uint8Array(1 << 16);
    #start = 0;
    #end = 0;

    /** The frames that these bytes complete. The bytes may end anywhere, in a header too. */
    push(bytes) {
        this.#append(bytes);
        const complete = [];
        for (let frame = this.#take(); frame; frame = this.#take())
            complete.push(frame);
        return complete;
    }

    #append(bytes) {
        const waiting = this.#buffer.subarray(this.#start, this.#end);
        const size = waiting.length + bytes.length;
        const target = size <= this.#buffer.length ? this.#buffer : new Uint8Array(2 * size);
        target.set(waiting, 0);
        target.set(bytes, waiting.length);
        this.#buffer = target;
        this.#start = 0;
        this.#end = size;
    }

    #take() {
        if (this.#end - this.#start < headerSize)
            return null;
        const length = new DataView(this.#buffer.buffer).getUint32(this.#start + 1);
        if (length > maxPayload)
            throw new Error('What the program writes is not a stream of frames.');
        const payload = this.#start + headerSize;
        if (this.#end - payload < length)
            return null;
        const type = String.fromCharCode(this.#buffer[this.#start]);
        this.#start = payload + length;
        return { type, payload: this.#buffer.slice(payload, payload + length) };
    }
}

/** The payload of a 'V' frame: a flags byte, the time in microseconds as eight bytes, H.264. */
export function picture(payload) {
    const header = 9;
    if (payload.length <= header)
        throw new Error('A picture without a picture.');
    return {
        key: payload[0] === 1,
        time: Number(new DataView(payload.buffer, payload.byteOffset).getBigUint64(1)),
        data: payload.subarray(header),
    };
}
