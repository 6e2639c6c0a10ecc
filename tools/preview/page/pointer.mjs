/**
 * The pointer on the desktop. Places are fractions of the picture, 0 the first and 1 the last
 * pixel of a row or column.
 */
export class Pointer {
    x = 0.5;
    y = 0.5;
    #send;
    #pressed;
    #rest = { dx: 0, dy: 0 };

    /**
     * `pressed(modifiers)` is told of every button that goes down, with the modifier keys that are
     * down besides it. The messages can't carry those: a modifier reaches the desktop only
     * together with a key.
     */
    constructor(send, pressed) {
        this.#send = send;
        this.#pressed = pressed;
    }

    /** A program that has just started believes it in the middle. */
    recentre() {
        this.x = this.y = 0.5;
    }

    moveTo(x, y) {
        this.x = Math.min(Math.max(x, 0), 1);
        this.y = Math.min(Math.max(y, 0), 1);
        this.#send({ t: 'move', x: this.x, y: this.y });
    }

    moveBy(dx, dy) {
        this.moveTo(this.x + dx, this.y + dy);
    }

    down(button, modifiers = []) {
        this.#send({ t: 'down', b: button });
        this.#pressed(modifiers);
    }

    up(button) {
        this.#send({ t: 'up', b: button });
    }

    /** The n-th click of several. */
    click(button, n = 1) {
        this.#send({ t: 'click', b: button, n });
        this.#pressed([]);
    }

    /** By pixels, down and to the right; `phase` of the gesture, if it is one. */
    scroll(dx, dy, phase) {
        // Whole pixels are sent; what is left over counts the next time.
        const whole = { dx: this.#whole('dx', dx), dy: this.#whole('dy', dy) };
        if (phase)
            this.#send({ t: 'scroll', ...whole, ph: phase });
        else if (whole.dx !== 0 || whole.dy !== 0)
            this.#send({ t: 'scroll', ...whole });
    }

    #whole(direction, distance) {
        const sum = this.#rest[direction] + distance;
        this.#rest[direction] = sum - Math.trunc(sum);
        return Math.trunc(sum);
    }
}

/**
 * Where a place on the picture, by fractions of its area, is among its pixels. A quarter into the
 * pixel that is meant: one receiver rounds to whole pixels, another cuts off.
 */
export function pixelFraction({ x, y }, { width, height }) {
    const one = (fraction, pixels) => {
        const pixel = Math.min(Math.max(Math.floor(fraction * pixels), 0), pixels - 1);
        return (pixel + 0.25) / (pixels - 1);
    };
    return { x: one(x, width), y: one(y, height) };
}
