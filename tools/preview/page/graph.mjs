/** The latency of the last pictures as columns, the newest on the right. */

import { memory } from './statistics.mjs';

const minScale = 20; // ms; what is less than that is not worth a large column

export function drawGraph(canvas, { delay, drawing }) {
    canvas.width = canvas.clientWidth * devicePixelRatio;
    canvas.height = canvas.clientHeight * devicePixelRatio;
    const context = canvas.getContext('2d');
    const style = getComputedStyle(canvas);
    const column = canvas.width / memory;
    const largest = Math.max(minScale, ...delay.map((one, at) => one + (drawing[at] ?? 0)));
    const height = (milliseconds) => (milliseconds / largest) * canvas.height;

    for (let back = 1; back <= delay.length; ++back) {
        const x = canvas.width - back * column;
        const lower = height(delay.at(-back));
        const upper = height(drawing.at(-back) ?? 0);
        context.fillStyle = style.getPropertyValue('--good');
        context.fillRect(x, canvas.height - lower, column * 0.8, lower);
        context.fillStyle = style.getPropertyValue('--accent');
        context.fillRect(x, canvas.height - lower - upper, column * 0.8, upper);
    }
    context.fillStyle = style.getPropertyValue('--quiet');
    context.font = `${11 * devicePixelRatio}px system-ui, sans-serif`;
    context.fillText(`${Math.round(largest)} ms`, 2, 12 * devicePixelRatio);
}
