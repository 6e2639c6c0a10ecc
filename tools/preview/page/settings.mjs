/** What was chosen, kept by the browser over a reload. */

const prefix = 'orvel.';

/** Keeps the values of these fields, and gives them the ones kept. */
export function keepFields(fields) {
    for (const field of fields) {
        const kept = load(field.id);
        if (kept !== null && field.type === 'checkbox')
            field.checked = kept === 'true';
        else if (kept !== null)
            field.value = kept;
        field.addEventListener('change', () =>
            store(field.id, field.type === 'checkbox' ? field.checked : field.value));
    }
}

/** Returns null if nothing is kept under this name. */
export function load(name) {
    try {
        return localStorage.getItem(prefix + name);
    } catch {
        return null; // The person keeps the browser from keeping things.
    }
}

export function store(name, value) {
    try {
        localStorage.setItem(prefix + name, value);
    } catch {
        // It holds until the next reload then.
    }
}
