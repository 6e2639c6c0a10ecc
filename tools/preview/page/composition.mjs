/**
 * What has to be done to a text that was sent, so that it becomes the one that is meant now: input
 * methods and phones' keyboards go on changing a word while it is being composed.
 */

// What a reader takes for one character is one step of the backspace key.
const segmenter = new Intl.Segmenter(undefined, { granularity: 'grapheme' });

/** How many characters to take away from the end of `sent`, and the text to add then. */
export function difference(sent, meant) {
    const [old, wanted] = [sent, meant].map(
        (text) => [...segmenter.segment(text)].map(({ segment }) => segment));
    let same = 0;
    while (same < old.length && old[same] === wanted[same])
        same += 1;
    return { removed: old.length - same, added: wanted.slice(same).join('') };
}
