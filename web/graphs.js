// Graphs of the last hour. Lines differ in dashes as well as in colour; the values at a moment are
// read with the pointer or, once a graph has the keyboard, with the arrow keys.

import { bitRate, drawn, element, milliseconds, setText } from './format.js';

const height = 170;
const margin = { left: 78, right: 10, top: 10, bottom: 24 };
const narrow = 460;
const shortestSpan = 300;  // seconds
const spans = [300, 600, 1200, 1800, 3600];

export class Graph {
    // series: [{name, key}], with the keys of history.json.
    constructor(box, title, format, series) {
        this.format = format;
        this.series = series;
        this.title = title;
        this.cursor = null;
        const figure = element('figure', { class: 'graph' });
        const caption = element('figcaption');
        caption.append(element('h3', {}, title));
        series.forEach((one, i) => caption.append(key(one.name, i)));
        this.picture = drawn('svg', { role: 'img', tabindex: '0' });
        this.readout = element('p', { class: 'readout quiet', 'aria-live': 'polite' });
        figure.append(caption, this.picture, this.readout);
        box.append(figure);
        this.picture.addEventListener('pointermove', (event) => this.point(event));
        this.picture.addEventListener('pointerleave', () => this.pointAt(null));
        this.picture.addEventListener('blur', () => this.pointAt(null));
        this.picture.addEventListener('keydown', (event) => this.step(event));
        new ResizeObserver(() => this.draw()).observe(this.picture);
    }

    show(history) {
        this.history = history;
        this.lists = this.series.map((one) => history ? history[one.key] : []);
        this.count = this.lists[0].length;
        this.draw();
    }

    draw() {
        const width = this.picture.clientWidth;
        if (!this.history || width === 0) return;
        this.picture.setAttribute('viewBox', `0 0 ${width} ${height}`);
        const step = this.history.step_seconds;
        const has = Math.max(shortestSpan, (this.count - 1) * step);
        this.span = spans.find((span) => span >= has) ?? spans.at(-1);
        this.right = width - margin.right;
        this.perSecond = (this.right - margin.left) / this.span;
        const values = this.lists.flat().filter((value) => value !== null);
        const top = niceTop(Math.max(0, ...values));
        this.y = (value) => height - margin.bottom -
            value / top * (height - margin.top - margin.bottom);
        this.picture.replaceChildren(...this.axes(top, width), ...this.lists.map((list, i) =>
            drawn('path', { class: 'series ' + (i === 0 ? 'first' : 'second'), d: this.path(list) })));
        this.picture.setAttribute('aria-label', this.summary());
        this.drawCursor();
    }

    x(number) {
        return this.right - (this.count - 1 - number) * this.history.step_seconds * this.perSecond;
    }

    // What is not known is a gap.
    path(list) {
        let path = '';
        let open = false;
        list.forEach((value, i) => {
            if (value === null) {
                open = false;
                return;
            }
            const point = `${this.x(i).toFixed(1)} ${this.y(value).toFixed(1)}`;
            path += open ? 'L' + point : `M${point}h0.1`;
            open = true;
        });
        return path;
    }

    axes(top, width) {
        const nodes = [];
        for (let i = 0; i <= 4; ++i) {
            const y = this.y(top * i / 4);
            nodes.push(drawn('line', { class: 'grid', x1: margin.left, x2: width - margin.right, y1: y, y2: y }));
            if (i % 2 === 0) {
                nodes.push(drawn('text', { x: margin.left - 8, y: y + 4, 'text-anchor': 'end' },
                    this.format(top * i / 4)));
            }
        }
        for (let i = 0; i <= 5; ++i) {
            if (width < narrow && i % 2 === 0) continue;
            const before = this.span * (5 - i) / 5;
            nodes.push(drawn('text', {
                x: this.right - before * this.perSecond, y: height - 6,
                'text-anchor': i === 5 ? 'end' : i === 0 ? 'start' : 'middle',
            }, before === 0 ? 'now' : `−${before / 60} min`));
        }
        return nodes;
    }

    summary() {
        const parts = this.lists.map((list, i) => {
            const known = list.filter((value) => value !== null);
            if (known.length === 0) return `${this.series[i].name} not known yet`;
            return `${this.series[i].name} now ${this.format(known.at(-1))}, ` +
                `at most ${this.format(Math.max(...known))}`;
        });
        return `${this.title}: ${parts.join('; ')}`;
    }

    point(event) {
        if (!this.perSecond) return;
        const x = event.clientX - this.picture.getBoundingClientRect().left;
        const before = (this.right - x) / this.perSecond / this.history.step_seconds;
        this.pointAt(this.count - 1 - Math.round(before));
    }

    step(event) {
        const by = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
        if (!by || !this.count) return;
        event.preventDefault();
        this.pointAt((this.cursor ?? this.count - 1) + by);
    }

    pointAt(number) {
        this.cursor = number === null || !this.count ? null
            : Math.min(this.count - 1, Math.max(0, number));
        this.drawCursor();
    }

    drawCursor() {
        this.picture.querySelector('.cursor')?.remove();
        if (this.cursor === null || this.cursor >= this.count) {
            setText(this.readout, this.count ? this.summary().slice(this.title.length + 2) : 'No sample yet');
            return;
        }
        const x = this.x(this.cursor);
        this.picture.append(drawn('line', {
            class: 'cursor', x1: x, x2: x, y1: margin.top, y2: height - margin.bottom,
        }));
        const before = (this.count - 1 - this.cursor) * this.history.step_seconds;
        const at = new Date((this.history.time - before) * 1000).toLocaleTimeString();
        setText(this.readout, at + ': ' + this.lists.map((list, i) => {
            const value = list[this.cursor];
            return `${this.series[i].name} ${value === null ? 'not known' : this.format(value)}`;
        }).join(', '));
    }
}

export function makeGraphs(box) {
    return [
        new Graph(box, 'Traffic', bitRate, [
            { name: 'from edges', key: 'from_edges_bytes_per_second' },
            { name: 'to edges', key: 'to_edges_bytes_per_second' },
        ]),
        new Graph(box, 'Round trip', milliseconds, [
            { name: 'median', key: 'round_trip_ms' },
            { name: 'longest', key: 'longest_round_trip_ms' },
        ]),
    ];
}

function key(name, number) {
    const box = element('span', { class: 'key' });
    const picture = drawn('svg', { viewBox: '0 0 30 8', 'aria-hidden': 'true' });
    picture.append(drawn('path', { class: 'series ' + (number === 0 ? 'first' : 'second'), d: 'M1 4H29' }));
    box.append(picture, ' ' + name);
    return box;
}

// The next of 1, 2, 4 or 8 times a power of ten, so that quarters of it are short numbers.
function niceTop(value) {
    if (!(value > 0)) return 1;
    const power = 10 ** Math.floor(Math.log10(value));
    return [1, 2, 4, 8, 10].find((factor) => factor * power >= value) * power;
}
