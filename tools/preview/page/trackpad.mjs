/**
 * Fingers on the picture, which moves the pointer as a laptop's trackpad does:
 *
 *     one finger          moves the pointer
 *     a tap               clicks; two taps double-click
 *     a tap, then a drag  drags
 *     two fingers         scroll
 *     a two-finger tap    clicks with the right button
 */

const slop = 8; // A tap may waver by so many pixels,
const tapTime = 300; // last so many milliseconds
const nextTapTime = 350; // and be followed by the next one within so many.

export class Trackpad {
    #surface;
    #pointer;
    #fingers = new Map(); // last place, by pointer id
    #gesture = null;
    #lastTap = { at: -Infinity, count: 0 };

    /** Watches `surface`. */
    constructor(surface, pointer) {
        this.#surface = surface;
        this.#pointer = pointer;
        const on = (type, act) => surface.addEventListener(type, (event) => {
            if (event.pointerType === 'touch')
                act(event);
        });
        on('pointerdown', (event) => this.#touch(event));
        on('pointermove', (event) => this.#move(event));
        on('pointerup', (event) => this.#lift(event, true));
        on('pointercancel', (event) => this.#lift(event, false));
    }

    #touch({ pointerId, clientX, clientY, timeStamp }) {
        if (this.#fingers.size === 0)
            this.#gesture = {
                began: timeStamp,
                at: timeStamp,
                followsTap: timeStamp - this.#lastTap.at < nextTapTime,
                fingers: 0,
                travelled: 0,
                doing: null, // 'move', 'drag' or 'scroll', once it is clear
            };
        this.#fingers.set(pointerId, { x: clientX, y: clientY });
        this.#gesture.fingers = Math.max(this.#gesture.fingers, this.#fingers.size);
    }

    #move({ pointerId, clientX, clientY, timeStamp }) {
        const last = this.#fingers.get(pointerId);
        if (!last)
            return;
        const dx = clientX - last.x;
        const dy = clientY - last.y;
        const elapsed = Math.max(timeStamp - this.#gesture.at, 1);
        this.#fingers.set(pointerId, { x: clientX, y: clientY });
        this.#gesture.at = timeStamp;
        this.#gesture.travelled += Math.hypot(dx, dy);
        if (this.#gesture.travelled < slop)
            return;
        this.#gesture.doing ??= this.#begin();
        if (this.#gesture.doing === 'scroll')
            this.#scroll(dx, dy);
        else
            this.#movePointer(dx, dy, elapsed);
    }

    #begin() {
        if (this.#gesture.fingers > 1) {
            this.#pointer.scroll(0, 0, 'began');
            return 'scroll';
        }
        if (!this.#gesture.followsTap)
            return 'move';
        this.#pointer.down('left');
        return 'drag';
    }

    // A slow finger aims, a quick one crosses the screen.
    #movePointer(dx, dy, elapsed) {
        const gain = Math.min(0.5 + Math.hypot(dx, dy) / elapsed, 2.5);
        this.#pointer.moveBy((gain * dx) / this.#surface.clientWidth,
                             (gain * dy) / this.#surface.clientHeight);
    }

    // The content follows the fingers. Each of them tells of its own way.
    #scroll(dx, dy) {
        const fingers = this.#fingers.size;
        this.#pointer.scroll(-dx / fingers, -dy / fingers, 'changed');
    }

    #lift({ pointerId, timeStamp }, onPurpose) {
        if (!this.#fingers.delete(pointerId) || this.#fingers.size > 0)
            return;
        const { doing, began, fingers } = this.#gesture;
        if (doing === 'drag')
            this.#pointer.up('left');
        else if (doing === 'scroll')
            this.#pointer.scroll(0, 0, 'ended');
        else if (!doing && onPurpose && timeStamp - began < tapTime)
            this.#tap(fingers, timeStamp);
    }

    #tap(fingers, at) {
        if (fingers > 1) {
            this.#pointer.click('right');
            return;
        }
        const count = this.#gesture.followsTap ? Math.min(this.#lastTap.count + 1, 3) : 1;
        this.#lastTap = { at, count };
        this.#pointer.click('left', count);
    }
}
