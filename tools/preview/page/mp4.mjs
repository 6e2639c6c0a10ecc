/**
 * Writes H.264 pictures with their times into an MP4 file (ISO/IEC 14496-12 and -15), without
 * encoding them again: a header with tables of sizes, durations and key frames, then the pictures.
 */

import {
    accessUnitDelimiter, pictureParameterSet, sequenceParameterSet, typeOf, units,
} from './h264.mjs';

const timescale = 1_000_000; // Times in the file are microseconds, as they are in the stream,
const headerTimescale = 1000; // except for those of the whole file.
const unity = [0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000]; // The picture as it is.

export class MP4File {
    #width;
    #height;
    #sets = null; // The parameter sets of the first key frame.
    #pictures = []; // {key, time, size}
    #data = [];

    constructor(width, height) {
        this.#width = width;
        this.#height = height;
    }

    get empty() {
        return this.#pictures.length === 0;
    }

    /**
     * Adds the next picture. A file begins with its first key frame; pictures before it are left
     * out. Returns false if the picture needs other parameter sets than the file has, so that it
     * belongs into another one.
     */
    add({ key, time, data }) {
        const all = units(data);
        const find = (type) => all.find((unit) => typeOf(unit) === type);
        if (key) {
            const sets = [find(sequenceParameterSet), find(pictureParameterSet)];
            this.#sets ??= sets.map((set) => set.slice());
            if (String(sets) !== String(this.#sets))
                return false;
        }
        if (!this.#sets)
            return true;
        const aside = [sequenceParameterSet, pictureParameterSet, accessUnitDelimiter];
        const kept = all.filter((unit) => !aside.includes(typeOf(unit)));
        const bytes = concatenate(kept.flatMap((unit) => [u32(unit.length), unit]));
        this.#pictures.push({ key, time, size: bytes.length });
        this.#data.push(bytes);
        return true;
    }

    /** The whole file. `end` is when the last picture was no longer to be seen, in stream time. */
    finish(end) {
        const size = this.#data.reduce((sum, one) => sum + one.length, 0);
        const type = box('ftyp', text('isom'), u32(0x200), text('isomiso2avc1mp41'));
        // The tables say where the pictures are, and that follows from the tables' size.
        const draft = this.#header(end, 0);
        const header = this.#header(end, type.length + draft.length + 16);
        const intro = concatenate([u32(1), text('mdat'), u64(size + 16)]);
        return new Blob([type, header, intro, ...this.#data], { type: 'video/mp4' });
    }

    #header(end, offset) {
        const first = this.#pictures[0].time;
        const length = end - first;
        const inHeader = Math.round(length / (timescale / headerTimescale));
        const track = box('trak',
            full('tkhd', 3, u32(0, 0, 1, 0, inHeader, 0, 0, 0, 0, ...unity),
                 u32(this.#width << 16, this.#height << 16)),
            box('mdia',
                full64('mdhd', u64(0), u64(0), u32(timescale), u64(length), u16(0x55c4, 0)),
                full('hdlr', 0, u32(0), text('vide'), u32(0, 0, 0), text('Screen\0')),
                box('minf',
                    full('vmhd', 1, u16(0, 0, 0, 0)),
                    box('dinf', full('dref', 0, u32(1), full('url ', 1))),
                    this.#tables(end, offset))));
        return box('moov',
            full('mvhd', 0, u32(0, 0, headerTimescale, inHeader, 0x10000),
                 u16(0x100, 0, 0, 0, 0, 0), u32(...unity, 0, 0, 0, 0, 0, 0, 2)),
            track);
    }

    #tables(end, offset) {
        const times = [...this.#pictures.map(({ time }) => time), end];
        const durations = this.#pictures.map((_, index) => times[index + 1] - times[index]);
        const sizes = this.#pictures.map(({ size }) => size);
        const keys = this.#pictures.flatMap(({ key }, index) => (key ? [index + 1] : []));
        const table = (name, fields, rows) =>
            full(name, 0, u32(rows.length / fields), words(rows));
        return box('stbl',
            full('stsd', 0, u32(1), this.#codec()),
            table('stts', 2, durations.flatMap((duration) => [1, duration])),
            table('stss', 1, keys),
            table('stsc', 3, [1, sizes.length, 1]), // All pictures are one chunk.
            full('stsz', 0, u32(0, sizes.length), words(sizes)),
            table('stco', 1, [offset]));
    }

    #codec() {
        const [sequence, picture] = this.#sets;
        const high = sequence[1] >= 100; // Says its colour format, 4:2:0 of 8 bits, once more.
        const resolution = u32(72 << 16, 72 << 16);
        return box('avc1', u32(0), u16(0, 1), u32(0, 0, 0, 0), u16(this.#width, this.#height),
            resolution, u32(0), u16(1), new Uint8Array(32), u16(24, 0xffff),
            box('avcC', bytes(1, ...sequence.subarray(1, 4), 0xff, 0xe1), u16(sequence.length),
                sequence, bytes(1), u16(picture.length), picture,
                high ? bytes(0xfd, 0xf8, 0xf8, 0) : bytes()));
    }
}

function bytes(...values) {
    return Uint8Array.from(values);
}

function u16(...values) {
    return bytes(...values.flatMap((value) => [value >>> 8, value & 255]));
}

function u32(...values) {
    return words(values);
}

/** A list, however long, of numbers of 32 bits. */
function words(values) {
    const data = new DataView(new ArrayBuffer(4 * values.length));
    values.forEach((value, index) => data.setUint32(4 * index, value));
    return new Uint8Array(data.buffer);
}

function u64(value) {
    return u32(Math.floor(value / 2 ** 32), value % 2 ** 32);
}

function text(characters) {
    return new TextEncoder().encode(characters);
}

function concatenate(parts) {
    const all = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
    let at = 0;
    for (const part of parts) {
        all.set(part, at);
        at += part.length;
    }
    return all;
}

function box(name, ...parts) {
    const content = concatenate(parts);
    return concatenate([u32(content.length + 8), text(name), content]);
}

/** A box with a version, 0, and flags. */
function full(name, flags, ...parts) {
    return box(name, u32(flags), ...parts);
}

/** A box of version 1, whose times have 64 bits. */
function full64(name, ...parts) {
    return box(name, u32(1 << 24), ...parts);
}
