// How values are written, and how texts that come from elsewhere are made fit to be shown.

export const signs = { joined: '●', joining: '◌', silent: '▲', away: '□' };
export const unknown = '–';

// Labels and names may hold any character: what a terminal would obey, and what would turn or hide
// the text around it, becomes visible. Texts go into the page as text only, never as markup.
export function visible(text) {
    return text
        .replace(/[\u0000-\u001f\u007f-\u009f\\]/g,
            (c) => '\\x' + c.charCodeAt(0).toString(16).padStart(2, '0'))
        .replace(/[\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]/g,
            (c) => '\\u{' + c.charCodeAt(0).toString(16) + '}');
}

export function nameOf(edge) {
    return edge.label === null ? 'serial ' + edge.serial : visible(edge.label);
}

export function shortened(text, most) {
    const characters = [...text];
    return characters.length <= most ? text : characters.slice(0, most - 1).join('') + '…';
}

export function age(seconds) {
    const s = Math.max(0, Math.floor(seconds));
    if (s < 60) return s + ' s';
    if (s < 3600) return Math.floor(s / 60) + ' min';
    if (s < 86400) return Math.floor(s / 3600) + ' h ' + Math.floor(s % 3600 / 60) + ' min';
    return Math.floor(s / 86400) + ' d ' + Math.floor(s % 86400 / 3600) + ' h';
}

function scaled(value, step, units) {
    let unit = 0;
    while (value >= step && unit < units.length - 1) {
        value /= step;
        ++unit;
    }
    const digits = value >= 100 || value === 0 || unit === 0 ? 0 : value >= 10 ? 1 : 2;
    return value.toFixed(digits) + ' ' + units[unit];
}

export function bitRate(bytesPerSecond) {
    return scaled(bytesPerSecond * 8, 1000, ['bit/s', 'kbit/s', 'Mbit/s', 'Gbit/s', 'Tbit/s']);
}

export function size(bytes) {
    return scaled(bytes, 1000, ['B', 'kB', 'MB', 'GB', 'TB', 'PB']);
}

export function milliseconds(value) {
    if (value === null) return unknown;
    return (value >= 100 ? value.toFixed(0) : value >= 10 ? value.toFixed(1) : value.toFixed(2)) + ' ms';
}

// An element with its attributes and its text.
export function element(name, attributes = {}, text = null) {
    return fill(document.createElement(name), attributes, text);
}

export function drawn(name, attributes = {}, text = null) {
    return fill(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, text);
}

function fill(node, attributes, text) {
    for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
    if (text !== null) node.textContent = text;
    return node;
}

// Writes only what differs: the page stays still for readers and for assistive technology.
export function setText(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

export function setAttribute(node, name, value) {
    if (node.getAttribute(name) !== String(value)) node.setAttribute(name, value);
}
