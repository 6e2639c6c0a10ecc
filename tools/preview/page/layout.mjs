/** What is open besides the picture: the side bar, the key bar, the whole screen. */

import { load, store } from './settings.mjs';

const narrow = matchMedia('(max-width: 900px)');
const fingers = matchMedia('(pointer: coarse)');

/** Has `button` open and close a part of the page, which is kept as the attribute data-`name`. */
export function toggles(button, name, open) {
    const set = (on) => {
        document.body.toggleAttribute(`data-${name}`, on);
        button.setAttribute('aria-expanded', on);
    };
    set(open);
    button.addEventListener('click', () => {
        const on = !document.body.hasAttribute(`data-${name}`);
        set(on);
        store(name, on);
    });
}

export function openParts({ sideButton, keysButton, moreButton }) {
    const kept = (name, otherwise) => (load(name) ?? String(otherwise)) === 'true';
    // Over the picture of a phone it would be the first thing to close.
    toggles(sideButton, 'side', !narrow.matches && kept('side', true));
    toggles(keysButton, 'keys', kept('keys', fingers.matches));
    toggles(moreButton, 'more', kept('more', false));
}

/** Without the browser's own bars, and with its own shortcuts for the desktop if it gives them. */
export function offerFullScreen(button) {
    button.hidden = !document.fullscreenEnabled;
    button.addEventListener('click', async () => {
        if (document.fullscreenElement) {
            await document.exitFullscreen();
        } else {
            await document.documentElement.requestFullscreen();
            await navigator.keyboard?.lock?.().catch(() => {});
        }
    });
}

/** A phone's keyboard covers the page's lower part: the page ends above it. */
export function stayAboveKeyboard() {
    const viewport = window.visualViewport;
    const fit = () => {
        document.documentElement.style.setProperty('--height', `${viewport.height}px`);
        window.scrollTo(0, 0);
    };
    viewport.addEventListener('resize', fit);
    fit();
}
