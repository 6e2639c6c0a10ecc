/**
 * Fingers on the picture. What one of them does is up to the hand, see `hands.mjs`; otherwise
 *
 *     a tap             clicks; two taps double-click
 *     a long press      clicks with the right button, and so does a tap of two fingers
 *     three fingers     click with the middle button
 *     two fingers       scroll, or zoom the view if their distance changes
 */

const slop = 8; // A tap may waver by so many pixels,
const longPressTime = 500; // become a long press after so many milliseconds
const nextTapTime = 350; // and be followed by the next one within so many.

export class Fingers {
    #pointer;
    #view;
    #hand;
    #gesture = null;
    #lastTap = { at: -Infinity, count: 0 };

    /** Watches `surface`. `hand()` returns what one finger moves. */
    constructor(surface, pointer, view, hand) {
        this.#pointer = pointer;
        this.#view = view;
        this.#hand = hand;
        let pen = false; // It is a mouse's kind, although browsers may tell of its touches as well.
        surface.addEventListener('pointerdown', ({ pointerType }) => (pen = pointerType === 'pen'));
        const on = (type, act) => surface.addEventListener(type, (event) => {
            event.preventDefault(); // Neither a click of the browser's own, nor another focus.
            if (!pen)
                act(measure([...event.touches].filter(({ target }) => surface.contains(target))));
        }, { passive: false });
        on('touchstart', (now) => this.#touch(now));
        on('touchmove', (now) => this.#move(now));
        on('touchend', (now) => this.#lift(now, true));
        on('touchcancel', (now) => this.#lift(now, false));
    }

    #touch(now) {
        const at = performance.now();
        this.#gesture ??= {
            at,
            followsTap: at - this.#lastTap.at < nextTapTime,
            fingers: 0,
            doing: null, // 'move', 'drag', 'scroll', 'zoom' or 'press', once it is clear
            waiting: setTimeout(() => this.#pressLong(), longPressTime),
        };
        const gesture = this.#gesture;
        gesture.fingers = Math.max(gesture.fingers, now.count);
        gesture.first = gesture.last = now;
        if (now.count > 1)
            clearTimeout(gesture.waiting);
    }

    #move(now) {
        const gesture = this.#gesture;
        if (!gesture)
            return;
        const travelled = Math.hypot(now.x - gesture.first.x, now.y - gesture.first.y);
        const stretched = Math.abs(now.spread - gesture.first.spread);
        if (!gesture.doing && Math.max(travelled, stretched) < slop)
            return;
        clearTimeout(gesture.waiting);
        gesture.doing ??= this.#begin(stretched > travelled);
        this.#follow(gesture, now);
        gesture.last = now;
        gesture.at = performance.now();
    }

    #begin(stretching) {
        if (this.#gesture.fingers > 1) {
            if (stretching)
                return 'zoom';
            this.#hand().aim(this.#gesture.first);
            this.#pointer.scroll(0, 0, 'began');
            return 'scroll';
        }
        if (!this.#hand().begin(this.#gesture.first, this.#gesture.followsTap))
            return 'move';
        this.#pointer.down('left');
        return 'drag';
    }

    #follow({ doing, last, at }, now) {
        const dx = now.x - last.x;
        const dy = now.y - last.y;
        const elapsed = Math.max(performance.now() - at, 1);
        if (doing === 'move' || doing === 'drag')
            this.#hand().follow({ dx, dy, elapsed }, now);
        else if (doing === 'scroll') // The content follows the fingers.
            this.#pointer.scroll(-dx, -dy, 'changed');
        else if (doing === 'zoom' && last.spread > 0)
            this.#view.zoom(now.spread / last.spread, { clientX: now.x, clientY: now.y }, dx, dy);
    }

    #lift(now, onPurpose) {
        const gesture = this.#gesture;
        if (!gesture)
            return;
        if (now.count > 0) {
            gesture.last = now; // The middle of the fingers that are left is elsewhere.
            return;
        }
        clearTimeout(gesture.waiting);
        this.#gesture = null;
        if (gesture.doing === 'drag')
            this.#pointer.up('left');
        else if (gesture.doing === 'scroll')
            this.#pointer.scroll(0, 0, 'ended');
        else if (!gesture.doing && onPurpose)
            this.#tap(gesture);
    }

    #tap({ fingers, followsTap, first }) {
        const count = fingers === 1 && followsTap ? Math.min(this.#lastTap.count + 1, 3) : 1;
        if (count === 1) // A double click is at one place.
            this.#hand().aim(first);
        this.#pointer.click([null, 'left', 'right', 'middle'][Math.min(fingers, 3)], count);
        if (fingers === 1)
            this.#lastTap = { at: performance.now(), count };
    }

    #pressLong() {
        this.#gesture.doing = 'press';
        this.#hand().aim(this.#gesture.first);
        this.#pointer.click('right');
        navigator.vibrate?.(15);
    }
}

/** How many fingers there are, their middle, and how far they are from each other. */
function measure(places) {
    const mean = (values) => values.reduce((sum, value) => sum + value, 0) / values.length;
    const x = mean(places.map((one) => one.clientX));
    const y = mean(places.map((one) => one.clientY));
    const spread = 2 * mean(places.map((one) => Math.hypot(one.clientX - x, one.clientY - y)));
    return { count: places.length, x, y, spread };
}
