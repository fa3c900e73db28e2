// The map: each subnet is a star, with the central router in the middle and its edges around it.
// A subnet is one stop of the Tab key; the arrow keys go round in it.

import { age, bitRate, drawn, element, milliseconds, nameOf, setAttribute, setText, shortened, visible }
    from './format.js';

const width = 360;
const height = 290;
const radiusX = 98;
const radiusY = 112;
const longestLabel = 12;

const shapes = {
    joined: 'M-7 0a7 7 0 1 0 14 0a7 7 0 1 0 -14 0z',
    joining: 'M-7 0a7 7 0 1 0 14 0a7 7 0 1 0 -14 0z',
    silent: 'M0 -9L9 7H-9z',
    away: 'M-6.5 -6.5H6.5V6.5H-6.5z',
};

export class SubnetMap {
    // choose({subnet} or {edge}) is called when somebody chooses one.
    constructor(box, choose) {
        this.box = box;
        this.choose = choose;
        this.cards = new Map();
    }

    show(subnets, chosen) {
        const there = new Set(subnets.map((subnet) => subnet.index));
        for (const [index, card] of this.cards) {
            if (there.has(index)) continue;
            card.box.remove();
            this.cards.delete(index);
        }
        for (const subnet of subnets) {
            let card = this.cards.get(subnet.index);
            if (!card) {
                card = new Card(this.choose);
                this.cards.set(subnet.index, card);
                this.box.append(card.box);
            }
            card.show(subnet, chosen);
        }
    }
}

class Card {
    constructor(choose) {
        this.choose = choose;
        this.nodes = new Map();
        this.box = element('article', { class: 'subnet' });
        this.title = element('h3');
        this.line = element('p');
        this.picture = drawn('svg', { viewBox: `0 0 ${width} ${height}`, role: 'group' });
        this.links = drawn('g');
        this.spots = drawn('g');
        this.hub = drawn('g', {
            class: 'hub', role: 'button', tabindex: '-1',
            transform: `translate(${width / 2} ${height / 2})`,
        });
        this.hub.append(drawn('rect', { x: -44, y: -13, width: 88, height: 26, rx: 6 }));
        this.hubText = drawn('text', { y: 4 });
        this.hub.append(this.hubText);
        this.picture.append(this.links, this.hub, this.spots);
        this.box.append(this.title, this.line, this.picture);
        listen(this.hub, () => this.choose({ subnet: this.index }));
        this.picture.addEventListener('keydown', (event) => this.move(event));
    }

    show(subnet, chosen) {
        const edges = subnet.edges;
        const count = (state) => edges.filter((edge) => edge.state === state).length;
        const name = visible(subnet.name);
        this.index = subnet.index;
        setText(this.title, name);
        const counts = ['joined', 'joining', 'silent', 'away'].filter(count)
            .map((state) => `${count(state)} ${state}`).join(', ');
        setText(this.line, `${subnet.gateway}, ${edges.length} of ${subnet.slots} slots` +
            (counts ? ': ' + counts : ''));
        setText(this.hubText, subnet.gateway);
        setAttribute(this.hub, 'aria-label', `Subnet ${name}, gateway ${subnet.gateway}`);
        setAttribute(this.picture, 'aria-label', `Map of subnet ${name}`);
        this.drop(new Set(edges.map((edge) => edge.identifier)));
        edges.forEach((edge, i) => this.place(edge, i, edges.length, chosen));
        this.keepTabStop();
    }

    drop(there) {
        for (const [identifier, node] of this.nodes) {
            if (there.has(identifier)) continue;
            node.spot.remove();
            node.link.remove();
            this.nodes.delete(identifier);
        }
    }

    place(edge, number, count, chosen) {
        let node = this.nodes.get(edge.identifier);
        if (!node) {
            node = this.make(edge.identifier);
            this.nodes.set(edge.identifier, node);
        }
        const angle = 2 * Math.PI * number / count - Math.PI / 2;
        const x = width / 2 + radiusX * Math.cos(angle);
        const y = height / 2 + radiusY * Math.sin(angle);
        const rate = edge.from_edge.bytes_per_second + edge.to_edge.bytes_per_second;
        setAttribute(node.link, 'x1', width / 2);
        setAttribute(node.link, 'y1', height / 2);
        setAttribute(node.link, 'x2', x.toFixed(1));
        setAttribute(node.link, 'y2', y.toFixed(1));
        setAttribute(node.link, 'stroke-width', thickness(edge.state, rate).toFixed(1));
        setAttribute(node.link, 'class',
            'link ' + (edge.state === 'joined' ? (rate > 0 ? 'busy' : 'idle') : edge.state));
        const isChosen = chosen.edge === edge.identifier;
        setAttribute(node.spot, 'class', `node ${edge.state}${isChosen ? ' chosen' : ''}`);
        setAttribute(node.spot, 'transform', `translate(${x.toFixed(1)} ${y.toFixed(1)})`);
        setAttribute(node.spot, 'aria-pressed', isChosen);
        setAttribute(node.spot, 'aria-label', described(edge, rate));
        setText(node.title, described(edge, rate));
        setAttribute(node.shape, 'd', shapes[edge.state] ?? shapes.away);
        this.write(node.text, edge, angle);
    }

    // Beside the sign, on the side that looks away from the centre.
    write(text, edge, angle) {
        const across = Math.cos(angle);
        const side = Math.abs(across) < 0.2 ? 0 : Math.sign(across);
        setAttribute(text, 'text-anchor', side === 0 ? 'middle' : side > 0 ? 'start' : 'end');
        setAttribute(text, 'x', side * 12);
        setAttribute(text, 'y', side === 0 ? (Math.sin(angle) < 0 ? -14 : 22) : 4);
        setText(text.firstChild, shortened(nameOf(edge), longestLabel));
        // Below the name.
        setAttribute(text.lastChild, 'x', side * 12);
        setText(text.lastChild, edge.state === 'silent' ? age(edge.since_seconds) : '');
    }

    make(identifier) {
        const spot = drawn('g', { role: 'button', tabindex: '-1' });
        const title = drawn('title');
        const shape = drawn('path');
        const text = drawn('text');
        text.append(drawn('tspan'), drawn('tspan', { dy: 12 }));
        spot.append(title, drawn('circle', { class: 'spot', r: 15 }),
            drawn('circle', { class: 'ring', r: 13 }), shape, text);
        spot.dataset.identifier = identifier;
        listen(spot, () => this.choose({ edge: identifier }));
        const link = drawn('line');
        this.links.append(link);
        this.spots.append(spot);
        return { spot, title, shape, text, link };
    }

    stops() {
        return [this.hub, ...this.spots.children];
    }

    keepTabStop() {
        const stops = this.stops();
        if (!stops.some((stop) => stop.getAttribute('tabindex') === '0')) {
            stops[0].setAttribute('tabindex', '0');
        }
    }

    move(event) {
        const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
        if (!step) return;
        const stops = this.stops();
        const from = stops.indexOf(event.target);
        const to = stops[(from + step + stops.length) % stops.length];
        event.preventDefault();
        event.target.setAttribute('tabindex', '-1');
        to.setAttribute('tabindex', '0');
        to.focus();
    }
}

function listen(node, act) {
    node.addEventListener('click', act);
    node.addEventListener('keydown', (event) => {
        if (event.key !== 'Enter' && event.key !== ' ') return;
        event.preventDefault();
        act();
    });
}

// By the powers of ten: 1 kbit/s is thin, 1 Gbit/s is thick.
function thickness(state, bytesPerSecond) {
    if (state !== 'joined' || !(bytesPerSecond > 0)) return 1.5;
    return Math.min(9, Math.max(2, 2 + Math.log10(bytesPerSecond * 8 / 1000) * 1.2));
}

function described(edge, rate) {
    return `${nameOf(edge)}: ${edge.state} for ${age(edge.since_seconds)}, ` +
        `${edge.lease ?? 'no address'}, ${bitRate(rate)}, round trip ${milliseconds(edge.round_trip_ms)}, ` +
        `heard ${age(edge.heard_seconds)} ago`;
}
