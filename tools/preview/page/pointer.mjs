/**
 * The pointer on the desktop. Places are fractions of the picture, 0 the first and 1 the last
 * pixel of a row or column.
 */
export class Pointer {
    x = 0.5;
    y = 0.5;
    #send;
    #rest = { dx: 0, dy: 0 };

    constructor(send) {
        this.#send = send;
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

    down(button) {
        this.#send({ t: 'down', b: button });
    }

    up(button) {
        this.#send({ t: 'up', b: button });
    }

    /** The n-th click of several. */
    click(button, n = 1) {
        this.#send({ t: 'click', b: button, n });
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
