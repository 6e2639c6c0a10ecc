/** A mouse or pen on the picture: what is pointed at here is pointed at there. */

import { modifiersOf } from './keyboard.mjs';
import { pixelFraction } from './pointer.mjs';

const buttons = [
    { bit: 1, name: 'left' },
    { bit: 2, name: 'right' },
    { bit: 4, name: 'middle' },
];

const wheelStep = 0.002; // of zoom, to a pixel of the wheel

export function followMouse(stage, canvas, view, pointer) {
    let held = 0;

    function follow(event) {
        if (event.pointerType === 'touch')
            return;
        const inStage = placeIn(stage, event);
        if (view.mode !== 'fit')
            view.lookAt(inStage.x, inStage.y);
        const { x, y } = pixelFraction(view.fractionAt(event.clientX, event.clientY), canvas);
        pointer.moveTo(x, y);
        for (const { bit, name } of buttons) {
            if (event.buttons & ~held & bit)
                pointer.down(name, modifiersOf(event));
            if (held & ~event.buttons & bit)
                pointer.up(name);
        }
        held = event.buttons;
    }

    canvas.addEventListener('pointerdown', (event) => {
        if (event.pointerType !== 'touch')
            canvas.setPointerCapture(event.pointerId); // A drag may leave the picture.
        follow(event);
    });
    for (const type of ['pointermove', 'pointerup', 'pointercancel'])
        canvas.addEventListener(type, follow);
    stage.addEventListener('contextmenu', (event) => event.preventDefault());
    stage.addEventListener('wheel', (event) => {
        event.preventDefault();
        const unit = [1, 16, canvas.clientHeight][event.deltaMode]; // Pixels, lines or pages.
        if (event.ctrlKey) // So browsers tell of a pinch on a laptop's trackpad, too.
            view.zoom(Math.exp(-event.deltaY * unit * wheelStep), event);
        else
            pointer.scroll(event.deltaX * unit, event.deltaY * unit);
    }, { passive: false });
}

function placeIn(stage, { clientX, clientY }) {
    const box = stage.getBoundingClientRect();
    return { x: (clientX - box.left) / box.width, y: (clientY - box.top) / box.height };
}
