/** Hands files to the browser's downloads. */

export function save(blob, ending) {
    const link = document.createElement('a');
    link.href = URL.createObjectURL(blob);
    link.download = `desktop ${localTime()}.${ending}`;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60_000); // Some browsers read it later.
}

/** Saves what the canvas shows as a picture. */
export async function saveScreenshot(canvas) {
    save(await new Promise((resolve) => canvas.toBlob(resolve, 'image/png')), 'png');
}

function localTime() {
    const now = new Date();
    const two = (value) => String(value).padStart(2, '0');
    const date = [now.getFullYear(), two(now.getMonth() + 1), two(now.getDate())].join('-');
    return `${date} ${[now.getHours(), now.getMinutes(), now.getSeconds()].map(two).join('.')}`;
}
