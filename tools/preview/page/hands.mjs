/** The two ways in which one finger moves the pointer. */

import { pixelFraction } from './pointer.mjs';

/**
 * As a laptop's trackpad does: the pointer goes the way the finger goes, wherever the finger is. A
 * tap and then a drag holds the button.
 */
export class Trackpad {
    #pointer;
    #view;
    #canvas;

    constructor(pointer, view, canvas) {
        this.#pointer = pointer;
        this.#view = view;
        this.#canvas = canvas;
    }

    /** A click or a scroll is about to follow, from a finger here. */
    aim() {}

    /** A finger starts to move. Returns whether it drags. */
    begin(place, followsTap) {
        return followsTap;
    }

    // A slow finger aims, a quick one crosses the screen.
    follow({ dx, dy, elapsed }) {
        const gain = Math.min(0.5 + Math.hypot(dx, dy) / elapsed, 2.5);
        this.#pointer.moveBy((gain * dx) / this.#canvas.clientWidth,
                             (gain * dy) / this.#canvas.clientHeight);
        this.#view.lookAt(this.#pointer.x, this.#pointer.y);
    }
}

/** As on a touch screen: the pointer is where the finger is, and a finger that moves drags. */
export class DirectTouch {
    #pointer;
    #view;
    #canvas;

    constructor(pointer, view, canvas) {
        this.#pointer = pointer;
        this.#view = view;
        this.#canvas = canvas;
    }

    aim({ x, y }) {
        const place = pixelFraction(this.#view.fractionAt(x, y), this.#canvas);
        this.#pointer.moveTo(place.x, place.y);
    }

    begin(place) {
        this.aim(place);
        return true;
    }

    follow(way, place) {
        this.aim(place);
    }
}
