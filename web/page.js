// The page: asks for the state every two seconds and for the history every ten, and hands both to
// the parts that show them. It only reads.

import { age, bitRate, element, nameOf, setText, visible } from './format.js';
import { makeGraphs } from './graphs.js';
import { SubnetMap } from './map.js';
import { EdgeTable } from './table.js';

const statusEvery = 2000;
const historyEvery = 10000;
const patience = 8000;

const byId = (id) => document.getElementById(id);
const scope = byId('scope');
const graphs = makeGraphs(byId('graphs'));
const map = new SubnetMap(byId('map'), choose);
const table = new EdgeTable(choose);

let state = null;
let answeredAt = null;
let chosen = {};  // {subnet: index}, {edge: identifier}, or nothing for all
let paused = false;

async function ask(path) {
    const reply = await fetch(path, { cache: 'no-store', signal: AbortSignal.timeout(patience) });
    if (!reply.ok) throw new Error(`${path}: status ${reply.status}`);
    return reply.json();
}

async function refresh() {
    if (paused || document.hidden) return;
    try {
        state = await ask('status.json');
        answeredAt = Date.now();
        show();
    } catch {
        // Whatever it was: the line tells since when nothing new came.
    }
    tellLive();
}

async function refreshHistory() {
    if (paused || document.hidden) return;
    const asked = chosen;
    let query = '';
    if (asked.edge !== undefined) query = '?edge=' + asked.edge;
    if (asked.subnet !== undefined) query = '?subnet=' + asked.subnet;
    let history = null;
    try {
        history = await ask('history.json' + query);
    } catch {
        // As above.
    }
    if (asked === chosen) for (const graph of graphs) graph.show(history ?? nothing);
}

const nothing = {
    time: 0, step_seconds: 10, from_edges_bytes_per_second: [], to_edges_bytes_per_second: [],
    round_trip_ms: [], longest_round_trip_ms: [],
};

function show() {
    forgetWhatIsGone();
    map.show(state.subnets, chosen);
    table.show(state.subnets, chosen);
    showSummary();
    showSilent();
    showScopes();
    setText(byId('version'), `Version ${state.version}, up for ${age(state.uptime_seconds)}. `);
}

function allEdges() {
    return state.subnets.flatMap((subnet) => subnet.edges.map((edge) => ({ edge, subnet })));
}

function forgetWhatIsGone() {
    const there = chosen.edge !== undefined
        ? allEdges().some(({ edge }) => edge.identifier === chosen.edge)
        : chosen.subnet === undefined ||
            state.subnets.some((subnet) => subnet.index === chosen.subnet);
    if (!there) choose({});
}

function showSummary() {
    const edges = allEdges().map(({ edge }) => edge);
    const count = (name) => edges.filter((edge) => edge.state === name).length;
    const rate = (way) => edges.reduce((sum, edge) => sum + edge[way].bytes_per_second, 0);
    const drops = Object.values(state.drops).reduce((sum, number) => sum + number, 0);
    const values = {
        Subnets: state.subnets.length,
        'Edges joined': count('joined'),
        Silent: count('silent'),
        Joining: count('joining'),
        Away: count('away'),
        'From edges': bitRate(rate('from_edge')),
        'To edges': bitRate(rate('to_edge')),
        Dropped: drops,
        'State file': { written: 'written', failing: '▲ failing', none: 'none' }[state.state_file],
    };
    const box = byId('summary');
    for (const [name, value] of Object.entries(values)) {
        let tile = box.querySelector(`[data-name="${name}"]`);
        if (!tile) {
            tile = element('div', { 'data-name': name });
            tile.append(element('dt', {}, name), element('dd'));
            box.append(tile);
        }
        setText(tile.lastChild, String(value ?? '–'));
    }
}

function showSilent() {
    const silent = allEdges().filter(({ edge }) => edge.state === 'silent')
        .sort((a, b) => a.edge.since_seconds - b.edge.since_seconds);
    byId('silent').hidden = silent.length === 0;
    setText(byId('silent-title'), `▲ Silent: ${silent.length}`);
    const lines = silent.map(({ edge, subnet }) =>
        `${nameOf(edge)} (${visible(subnet.name)}) for ${age(edge.since_seconds)}`);
    const list = byId('silent-list');
    while (list.children.length > lines.length) list.lastChild.remove();
    while (list.children.length < lines.length) list.append(element('li'));
    lines.forEach((line, i) => setText(list.children[i], line));
}

// The list is made anew only when it changed: one that is open would close.
function showScopes() {
    const options = [['', 'all edges'],
        ...state.subnets.map((subnet) => ['s' + subnet.index, 'subnet ' + visible(subnet.name)])];
    if (chosen.edge !== undefined) {
        const { edge } = allEdges().find((one) => one.edge.identifier === chosen.edge);
        options.push(['e' + chosen.edge, 'edge ' + nameOf(edge)]);
    }
    const wanted = JSON.stringify(options);
    if (scope.dataset.options !== wanted) {
        scope.dataset.options = wanted;
        scope.replaceChildren(...options.map(([value, text]) => element('option', { value }, text)));
    }
    scope.value = chosen.edge !== undefined ? 'e' + chosen.edge
        : chosen.subnet !== undefined ? 's' + chosen.subnet : '';
}

function choose(what) {
    // Who chooses the same edge again wants all.
    const again = what.edge !== undefined && what.edge === chosen.edge;
    chosen = again ? {} : what;
    if (state) show();
    refreshHistory();
}

function tellLive() {
    const late = answeredAt === null ? Infinity : (Date.now() - answeredAt) / 1000;
    const lost = !paused && !document.hidden && late > 3 * statusEvery / 1000;
    const at = answeredAt === null ? 'never' : new Date(answeredAt).toLocaleTimeString();
    byId('live').classList.toggle('lost', lost);
    setText(byId('live'), paused ? `Paused, state of ${at}`
        : lost ? `▲ No answer from the central router, state of ${at}` : 'Live');
}

scope.addEventListener('change', () => {
    const number = Number(scope.value.slice(1));
    choose(scope.value === '' ? {} : scope.value[0] === 's' ? { subnet: number } : { edge: number });
});
byId('pause').addEventListener('click', () => {
    paused = !paused;
    setText(byId('pause'), paused ? 'Go on' : 'Pause');
    tellLive();
    refresh();
});
document.addEventListener('visibilitychange', () => {
    refresh();
    refreshHistory();
});

function repeat(task, every) {
    task().finally(() => setTimeout(() => repeat(task, every), every));
}
repeat(refresh, statusEvery);
repeat(refreshHistory, historyEvery);
setInterval(tellLive, 1000);
