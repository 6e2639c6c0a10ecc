/** H.264 as a byte stream (Annex B of the standard): units, each behind a start code 0 0 1. */

export const sequenceParameterSet = 7;
export const pictureParameterSet = 8;
export const accessUnitDelimiter = 9;

/** The units of one encoded picture, without their start codes. */
export function units(data) {
    const starts = [];
    for (let one = data.indexOf(1, 2); one >= 0; one = data.indexOf(1, one + 1))
        if (data[one - 1] === 0 && data[one - 2] === 0)
            starts.push(one + 1);
    return starts.map((start, index) => {
        let end = index + 1 < starts.length ? starts[index + 1] - 3 : data.length;
        while (end > start && data[end - 1] === 0)
            end -= 1; // No unit ends in a zero: these belong to the next start code.
        return data.subarray(start, end);
    });
}

export function typeOf(unit) {
    return unit[0] & 31;
}

/**
 * How WebCodecs calls the codec of a key frame: "avc1." and three bytes of its sequence parameter
 * set, the profile, its constraints and the level. Returns null if there is no such set.
 */
export function codecName(data) {
    const set = units(data).find((unit) => typeOf(unit) === sequenceParameterSet);
    if (!set || set.length < 4)
        return null;
    const bytes = [...set.subarray(1, 4)];
    return 'avc1.' + bytes.map((byte) => byte.toString(16).padStart(2, '0')).join('');
}
