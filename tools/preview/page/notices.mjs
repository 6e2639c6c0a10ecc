/** Sentences over the picture that go by themselves, and the list of all of them. */

const shownTime = 6000; // ms
const maxListed = 50;

export class Notices {
    #place;
    #list;

    constructor(place, list) {
        this.#place = place;
        this.#list = list;
    }

    /**
     * Shows a sentence for some seconds, longer if it comes again, with a button if there is an
     * `action`: {label, act}.
     */
    show(sentence, action) {
        const shown = [...this.#place.children].find((one) => one.dataset.sentence === sentence);
        const notice = shown ?? this.#add(sentence, action);
        clearTimeout(Number(notice.dataset.timer));
        notice.dataset.timer = setTimeout(() => notice.remove(), shownTime);
    }

    /** Lists an error with its code. */
    list(code, sentence) {
        const label = element('code', `${new Date().toLocaleTimeString()} ${code}`);
        const entry = element('li', '');
        entry.append(label, sentence);
        this.#list.prepend(entry);
        this.#list.children[maxListed]?.remove();
    }

    #add(sentence, action) {
        const notice = element('p', sentence);
        notice.dataset.sentence = sentence;
        if (action) {
            const button = element('button', action.label);
            button.type = 'button';
            button.addEventListener('click', () => {
                notice.remove();
                action.act();
            });
            notice.append(button);
        }
        this.#place.append(notice);
        return notice;
    }
}

function element(name, text) {
    const made = document.createElement(name);
    made.textContent = text;
    return made;
}
