// The table of edges: sorts by any column, filters by text and state. Rows stay the same nodes, so
// that a reader's place and the keyboard's are kept while values change.

import { age, bitRate, element, milliseconds, nameOf, setText, signs, size, unknown, visible }
    from './format.js';

const order = new Intl.Collator('en', { numeric: true });

function addressKey(text) {
    if (text === null) return -1;
    return text.split(/[.:]/).reduce((sum, part) => sum * 256 + Number(part), 0);
}

// key: what is sorted by; text: what is shown. Rare ones go first where there is little room.
const columns = [
    { name: 'Edge', key: (e) => nameOf(e) },
    { name: 'Subnet', key: (e) => e.subnet, text: (e) => e.subnet },
    { name: 'State', key: (e) => e.state, text: (e) => `${signs[e.state] ?? ''} ${e.state}`, class: 'state' },
    { name: 'Since', key: (e) => e.since_seconds, text: (e) => age(e.since_seconds), number: true },
    { name: 'Heard', key: (e) => e.heard_seconds, text: (e) => age(e.heard_seconds), number: true },
    { name: 'Address', key: (e) => addressKey(e.lease), text: (e) => e.lease ?? unknown },
    { name: 'Endpoint', key: (e) => addressKey(e.endpoint), text: (e) => e.endpoint ?? unknown, rare: true },
    { name: 'Round trip', key: (e) => e.round_trip_ms ?? -1, text: (e) => milliseconds(e.round_trip_ms), number: true },
    { name: 'From it', key: (e) => e.from_edge.bytes_per_second, text: (e) => bitRate(e.from_edge.bytes_per_second), number: true },
    { name: 'To it', key: (e) => e.to_edge.bytes_per_second, text: (e) => bitRate(e.to_edge.bytes_per_second), number: true },
    { name: 'Total from', key: (e) => e.from_edge.bytes, text: (e) => size(e.from_edge.bytes), number: true, rare: true },
    { name: 'Total to', key: (e) => e.to_edge.bytes, text: (e) => size(e.to_edge.bytes), number: true, rare: true },
    { name: 'Serial', key: (e) => e.serial, text: (e) => String(e.serial), number: true, rare: true },
];

export class EdgeTable {
    // choose({edge}) is called when somebody chooses one.
    constructor(choose) {
        this.choose = choose;
        this.rows = new Map();
        this.edges = [];
        this.chosen = {};
        this.column = 0;
        this.descending = false;
        this.body = document.getElementById('rows');
        this.shown = document.getElementById('shown');
        this.filter = document.getElementById('filter');
        this.state = document.getElementById('state');
        this.sorting = document.getElementById('sorting');
        this.heads = columns.map((column, i) => this.makeHead(column, i));
        document.getElementById('columns').append(...this.heads);
        this.filter.addEventListener('input', () => this.arrange());
        this.state.addEventListener('change', () => this.arrange());
        this.sorting.addEventListener('change', () => this.sortBy(Number(this.sorting.value)));
        this.markHeads();
    }

    makeHead(column, number) {
        const head = element('th', { scope: 'col', class: classOf(column) });
        const button = element('button', { type: 'button' }, column.name);
        button.addEventListener('click', () => this.sortBy(number));
        head.append(button);
        this.sorting.append(element('option', { value: number }, column.name));
        return head;
    }

    sortBy(number) {
        // Of numbers the largest are looked for, of texts the first.
        this.descending = number === this.column ? !this.descending : Boolean(columns[number].number);
        this.column = number;
        this.markHeads();
        this.arrange();
    }

    markHeads() {
        this.heads.forEach((head, i) => {
            const active = i === this.column;
            head.setAttribute('aria-sort', !active ? 'none' : this.descending ? 'descending' : 'ascending');
            setText(head.firstChild, columns[i].name + (!active ? '' : this.descending ? ' ▼' : ' ▲'));
        });
        this.sorting.value = String(this.column);
    }

    show(subnets, chosen) {
        this.chosen = chosen;
        this.edges = subnets.flatMap((subnet) =>
            subnet.edges.map((edge) => ({ ...edge, subnet: visible(subnet.name) })));
        const there = new Set(this.edges.map((edge) => edge.identifier));
        for (const [identifier, row] of this.rows) {
            if (there.has(identifier)) continue;
            row.line.remove();
            this.rows.delete(identifier);
        }
        for (const edge of this.edges) this.fillRow(edge);
        this.arrange();
    }

    fillRow(edge) {
        let row = this.rows.get(edge.identifier);
        if (!row) {
            row = this.makeRow(edge.identifier);
            this.rows.set(edge.identifier, row);
        }
        setText(row.button, nameOf(edge));
        columns.forEach((column, i) => i > 0 && setText(row.cells[i], column.text(edge)));
        row.line.className = edge.state + (this.chosen.edge === edge.identifier ? ' chosen' : '');
        row.button.setAttribute('aria-pressed', this.chosen.edge === edge.identifier);
        row.text = [nameOf(edge), edge.subnet, edge.state, edge.lease, edge.endpoint, edge.serial]
            .join(' ').toLowerCase();
        row.keys = columns.map((column) => column.key(edge));
        row.state = edge.state;
    }

    makeRow(identifier) {
        const line = element('tr');
        const button = element('button', { type: 'button' });
        button.addEventListener('click', () => this.choose({ edge: identifier }));
        const cells = columns.map((column, i) => i === 0
            ? element('th', { scope: 'row' })
            : element('td', { class: classOf(column), 'data-name': column.name }));
        cells[0].append(button);
        line.append(...cells);
        return { line, button, cells };
    }

    // Puts the rows that fit the filter in order, and moves none that stands right already.
    arrange() {
        const words = this.filter.value.toLowerCase().split(/\s+/).filter(Boolean);
        const fits = (row) => words.every((word) => row.text.includes(word)) &&
            (this.state.value === '' || row.state === this.state.value);
        const rows = [...this.rows.values()].filter(fits);
        const sign = this.descending ? -1 : 1;
        rows.sort((a, b) => sign * compare(a.keys[this.column], b.keys[this.column]) ||
            compare(a.keys[0], b.keys[0]));
        const kept = new Set(rows);
        for (const row of this.rows.values()) if (!kept.has(row)) row.line.remove();
        let next = this.body.firstChild;
        for (const row of rows) {
            if (row.line === next) next = next.nextSibling;
            else this.place(row.line, next);
        }
        setText(this.shown, `${rows.length} of ${this.rows.size}`);
    }

    // A row that is moved loses the keyboard's place otherwise.
    place(line, before) {
        const active = document.activeElement;
        const had = line.contains(active);
        this.body.insertBefore(line, before);
        if (had) active.focus({ preventScroll: true });
    }
}

function classOf(column) {
    return [column.number && 'number', column.rare && 'rare', column.class].filter(Boolean).join(' ');
}

function compare(a, b) {
    return typeof a === 'number' ? a - b : order.compare(a, b);
}
