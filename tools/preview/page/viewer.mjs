/** What this page calls itself to a second viewer, such as "Firefox on Linux". */

// The first one that the browser names: many name others as well, which they resemble.
const browsers = [
    ['Edg/', 'Edge'], ['OPR/', 'Opera'], ['Firefox/', 'Firefox'], ['FxiOS/', 'Firefox'],
    ['Chrome/', 'Chrome'], ['CriOS/', 'Chrome'], ['Safari/', 'Safari'],
];
const systems = [
    ['Android', 'Android'], ['iPhone', 'an iPhone'], ['iPad', 'an iPad'], ['Macintosh', 'a Mac'],
    ['Windows', 'Windows'], ['Linux', 'Linux'],
];

export function viewerName(agent = navigator.userAgent) {
    const find = (names, otherwise) =>
        names.find(([part]) => agent.includes(part))?.[1] ?? otherwise;
    return `${find(browsers, 'a browser')} on ${find(systems, 'some system')}`;
}
