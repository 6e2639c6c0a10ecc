/** A mouse or pen on the picture: what is pointed at here is pointed at there. */

const buttons = [
    { bit: 1, name: 'left' },
    { bit: 2, name: 'right' },
    { bit: 4, name: 'middle' },
];

export function followMouse(canvas, pointer) {
    let held = 0;

    function follow(event) {
        if (event.pointerType === 'touch')
            return;
        pointer.moveTo(fraction(event.offsetX, canvas.clientWidth, canvas.width),
                       fraction(event.offsetY, canvas.clientHeight, canvas.height));
        for (const { bit, name } of buttons) {
            if (event.buttons & ~held & bit)
                pointer.down(name);
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
    canvas.addEventListener('contextmenu', (event) => event.preventDefault());
    canvas.addEventListener('wheel', (event) => {
        event.preventDefault();
        const unit = [1, 16, canvas.clientHeight][event.deltaMode]; // Pixels, lines or pages.
        pointer.scroll(event.deltaX * unit, event.deltaY * unit);
    }, { passive: false });
}

// A quarter into the pixel that is meant: one receiver rounds to whole pixels, another cuts off.
function fraction(offset, shown, pixels) {
    const pixel = Math.min(Math.max(Math.floor((offset / shown) * pixels), 0), pixels - 1);
    return (pixel + 0.25) / (pixels - 1);
}
