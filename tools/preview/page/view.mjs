/**
 * How much of the picture is seen, and where: the whole of it fitted into the stage, pixel by
 * pixel, or zoomed. A picture larger than the stage is moved so that the place looked at, such as
 * the pointer's, is as far from the stage's edges as it is from the picture's.
 */

const maxZoom = 6; // screen pixels to one of the picture

export class View {
    #stage;
    #canvas;
    #changed;
    #scale = null; // while zoomed: CSS pixels to one of the picture
    #mode = 'fit';
    #focus = { x: 0.5, y: 0.5 };

    /** `changed(text)` gets what is shown, such as "Fit" or "150 %". */
    constructor(stage, canvas, changed) {
        this.#stage = stage;
        this.#canvas = canvas;
        this.#changed = changed;
        new ResizeObserver(() => this.#place()).observe(stage);
    }

    get mode() {
        return this.#mode;
    }

    /** 'fit' or 'actual', which is one screen pixel for each of the picture. */
    setMode(mode) {
        this.#mode = mode;
        this.#place();
    }

    /** The picture has another size. */
    resize() {
        if (this.#mode === 'zoomed')
            this.#mode = 'fit';
        this.#place();
    }

    /** Zooms around a place in the window, which may itself move by so many pixels. */
    zoom(factor, { clientX, clientY }, dx = 0, dy = 0) {
        const at = this.fractionAt(clientX - dx, clientY - dy);
        const fit = this.#fitScale();
        this.#scale = Math.min(this.#currentScale() * factor, maxZoom / devicePixelRatio);
        this.#mode = this.#scale > fit ? 'zoomed' : 'fit';
        // The place under the fingers stays under them: solves `#offset` for the focus.
        const stage = this.#stage.getBoundingClientRect();
        const solve = (fraction, place, room, size) => {
            const hidden = size - room;
            return hidden > 0 ? clamp((fraction * size - place) / hidden) : 0.5;
        };
        this.#focus = {
            x: solve(at.x, clientX - stage.left, stage.width, this.#canvas.width * this.#scale),
            y: solve(at.y, clientY - stage.top, stage.height, this.#canvas.height * this.#scale),
        };
        this.#place();
    }

    /** Shows this place, by fractions of the picture. */
    lookAt(x, y) {
        this.#focus = { x: clamp(x), y: clamp(y) };
        if (this.#mode !== 'fit')
            this.#place();
    }

    /** Where a place in the window is on the picture, 0 to 1, and beyond where it is beside it. */
    fractionAt(clientX, clientY) {
        const box = this.#canvas.getBoundingClientRect();
        return { x: (clientX - box.left) / box.width, y: (clientY - box.top) / box.height };
    }

    #fitScale() {
        const { clientWidth, clientHeight } = this.#stage;
        return Math.min(clientWidth / this.#canvas.width, clientHeight / this.#canvas.height);
    }

    #currentScale() {
        if (this.#mode === 'fit')
            return this.#fitScale();
        return this.#mode === 'actual' ? 1 / devicePixelRatio : this.#scale;
    }

    #place() {
        const scale = this.#currentScale();
        const { style } = this.#canvas;
        const width = this.#canvas.width * scale;
        const height = this.#canvas.height * scale;
        const x = offset(this.#stage.clientWidth - width, this.#focus.x);
        const y = offset(this.#stage.clientHeight - height, this.#focus.y);
        style.width = `${width}px`;
        style.height = `${height}px`;
        style.transform = `translate(${x}px, ${y}px)`;
        const percent = `${Math.round(scale * devicePixelRatio * 100)} %`;
        this.#changed({ fit: 'Fit', actual: '1:1', zoomed: percent }[this.#mode]);
    }
}

// What fits is centred.
function offset(spare, focus) {
    return Math.round(spare * (spare > 0 ? 0.5 : focus));
}

function clamp(fraction) {
    return Math.min(Math.max(fraction, 0), 1);
}
