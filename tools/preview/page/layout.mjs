/** What is open besides the picture: the side bar, the key bar, the whole screen. */

import { load, store } from './settings.mjs';

const narrow = matchMedia('(max-width: 900px)');
const coarse = matchMedia('(pointer: coarse)');

/** Whether the page is used with fingers rather than with a mouse. */
export function underFingers() {
    return coarse.matches;
}

/** A part of the page that a button opens and closes; while it is open, body has data-`name`. */
class Part {
    #button;
    #name;

    constructor(button, name, otherwise) {
        this.#button = button;
        this.#name = name;
        this.restore(otherwise);
        button.addEventListener('click', () => {
            const open = !document.body.hasAttribute(`data-${name}`);
            this.show(open);
            store(name, open);
        });
    }

    show(open) {
        document.body.toggleAttribute(`data-${this.#name}`, open);
        this.#button.setAttribute('aria-expanded', open);
    }

    /** As it was left, or as `otherwise` says. */
    restore(otherwise) {
        this.show((load(this.#name) ?? String(otherwise)) === 'true');
    }
}

export function openParts({ sideButton, keysButton, moreButton, fullScreen }) {
    const side = new Part(sideButton, 'side', true);
    const keys = new Part(keysButton, 'keys', underFingers());
    new Part(moreButton, 'more', false);
    if (narrow.matches)
        side.show(false); // Over the picture it would be the first thing to close.
    offerFullScreen(fullScreen, (full) => {
        for (const part of [side, keys])
            if (full)
                part.show(false);
            else
                part.restore(!narrow.matches && part === side);
    });
}

/**
 * Without the browser's own bars, and with its own shortcuts for the desktop if it gives them.
 * `changed(full)` is told of every change.
 */
function offerFullScreen(button, changed) {
    button.hidden = !document.fullscreenEnabled;
    button.addEventListener('click', async () => {
        if (document.fullscreenElement) {
            await document.exitFullscreen();
        } else {
            await document.documentElement.requestFullscreen();
            await navigator.keyboard?.lock?.().catch(() => {});
        }
    });
    document.addEventListener('fullscreenchange', () => changed(Boolean(document.fullscreenElement)));
}

/**
 * A phone's keyboard covers the page's lower part: the page ends above it. Two fingers that enlarge
 * the page itself make the viewport smaller as well, but change nothing about its layout.
 */
export function stayAboveKeyboard() {
    const viewport = window.visualViewport;
    const fit = () => {
        document.documentElement.style.setProperty('--height', `${viewport.height * viewport.scale}px`);
        window.scrollTo(0, 0);
    };
    viewport.addEventListener('resize', fit);
    fit();
}
