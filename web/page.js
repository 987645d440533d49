// The page of `zepl serve`.
import {AxisDialog} from './axis.js';
import {Connection} from './connection.js';
import {engineering, sample, spans} from './format.js';
import {colourOf} from './lane.js';
import {print, setText, showNotes, Speeds, Tasks, Triggers} from './panels.js';
import {saveCsv, savePng} from './save.js';
import {Scope} from './scope.js';
import {Spectrum} from './spectrum.js';
import {Variables} from './variables.js';

const byId = (id) => document.getElementById(id);

// What a page remembers, for each procedure.
let key = null, settings = {ranges: {}};
function load(procedure) {
    key = `zepl ${procedure}`;
    try {
        Object.assign(settings, JSON.parse(localStorage.getItem(key) ?? '{}'));
    } catch {
        // A page that may keep nothing begins anew.
    }
}
function keep() {
    try {
        if (key) localStorage.setItem(key, JSON.stringify(settings));
    } catch {
        // As above.
    }
}

let state = null, legend = [], isSpectrumShown = false;
const tasks = new Tasks(), triggers = new Triggers(), speeds = new Speeds();
const connection = new Connection({onText: receive, onFrame: draw, onState: connected});
const scope = new Scope(byId('lanes'), settings, {send: (look) => connection.send(look), marksIn: (from, to) => triggers.between(from, to), changed: showScope, openAxis: (...axis) => axisDialog.open(...axis)});
const axisDialog = new AxisDialog(() => scope.build());
const spectrum = new Spectrum(byId('spectrumPlot'));
const variables = new Variables(byId('variables'), byId('variableList'), settings.ranges, (name, value) => connection.send({type: 'set', variable: name, value}));
// For those who look into the page with the browser's tools.
window.zepl = {connection, scope, spectrum, triggers, settings, state: () => state};

function receive(message) {
    if (message.type === 'hello') {
        if (key === null) load(message.procedure);
        variables.ranges = settings.ranges;
        setText(byId('procedure'), message.procedure);
        document.title = `${message.procedure} – zepl`;
        scope.look();
    } else if (message.type === 'state') {
        showState(message);
    } else if (message.type === 'events') {
        triggers.take(message);
    } else if (message.type === 'console') {
        print(message.text);
    } else if (message.type === 'error') {
        showMistake(message.text);
    }
}

function showState(next) {
    const isOther = state === null || state.run !== next.run;
    state = next;
    const isGoing = ['starting', 'running', 'paused', 'stopping'].includes(state.phase);
    if (isOther) {
        speeds.clear();
        if (scope.isHeld && scope.hasEnded) scope.hold(false);
    }
    const hadEnded = scope.hasEnded;
    scope.hasEnded = !isGoing;
    showPhase();
    byId('start').disabled = isGoing;
    const isPaused = state.phase === 'paused';
    byId('stop').disabled = byId('pause').disabled = state.phase !== 'running' && !isPaused;
    byId('pause').ariaPressed = String(isPaused);
    byId('pause').lastChild.textContent = isPaused ? ' Continue' : ' Pause';
    triggers.show(state);
    if (state.pipes.length > 0) scope.setPipes(state.pipes, state.rate);
    if (isOther || hadEnded !== scope.hasEnded || legend.length !== state.pipes.length) showSources();
    variables.show(state.variables);
    tasks.show(state);
    showNotes(state.text);
    showFigures();
}

function showPhase() {
    const phase = byId('phase'), isBad = state.phase === 'ended' && state.status === 'failed';
    setText(phase, isBad ? 'failed' : state.phase === 'ended' && state.status === 'interrupted' ? 'stopped' : state.phase);
    phase.dataset.phase = isBad ? 'failed' : state.phase;
}

function showFigures() {
    const speed = speeds.add(state.seconds, [state.frames])[0];
    const parts = [`${(state.frames / state.rate).toFixed(1)} s at ${engineering(state.rate, 'Hz')}`];
    if (state.phase === 'running' && speed > 0) parts.push(`${engineering(speed, 'Hz')} now`);
    if (state.current === 0) parts.push('a task is at work for long');
    setText(byId('figures'), parts.join(' · '));
}

function draw(frame) {
    if (frame.kind === 'samples') {
        if (isSpectrumShown && !scope.isHeld) spectrum.take(frame);
        return;
    }
    const isFirst = scope.frame === null;
    scope.take(frame);
    // A run that was over before anybody looked is seen whole.
    if (isFirst && scope.hasEnded) scope.all();
}

function connected(isOpen, tries) {
    byId('lost').hidden = isOpen;
    if (isOpen) return;
    byId('phase').dataset.phase = 'lost';
    setText(byId('phase'), 'no connection');
    setText(byId('lost'), tries < 4 ? 'The connection to the run is lost. Trying again …'
        : 'The run does not answer. If `zepl serve` was started again, open the new address that it has printed; else this page comes back by itself.');
}

let mistakeTimer;
function showMistake(text) {
    byId('mistake').hidden = false;
    setText(byId('mistake'), text);
    clearTimeout(mistakeTimer);
    mistakeTimer = setTimeout(() => (byId('mistake').hidden = true), 6000);
}

function showSources() {
    const source = byId('source');
    source.replaceChildren(...state.pipes.map((pipe) => new Option(pipe.name)));
    source.value = settings.trigger?.pipe ?? '';
    buildLegend();
}

function buildLegend() {
    legend = state.pipes.map((pipe, place) => {
        const button = document.createElement('button'), name = document.createElement('span'), type = document.createElement('small'), value = document.createElement('output');
        name.textContent = pipe.name;
        type.textContent = pipe.elements;
        button.title = place < 9 ? `Show or hide ${pipe.name} (${place + 1})` : `Show or hide ${pipe.name}`;
        button.style.setProperty('--color', `var(--c${place % 8})`);
        button.append(name, type, value);
        button.addEventListener('click', () => scope.toggle(place));
        return {button, value};
    });
    byId('legend').replaceChildren(...legend.map((each) => each.button));
    showScope();
}

// The controls say what the scope does.
function showScope() {
    keep();
    if (state === null || !settings.trigger) return;
    byId('hold').ariaPressed = String(scope.isHeld);
    byId('hold').disabled = scope.hasEnded === true;
    const span = byId('span'), shown = scope.isHeld && scope.view ? scope.view[1] - scope.view[0] : scope.span, text = engineering(shown, 's');
    if (span.selectedOptions[0]?.text !== text) {
        span.querySelector('.other')?.remove();
        const option = [...span.options].find((each) => each.text === text) ?? span.insertBefore(Object.assign(new Option(text, shown), {className: 'other'}), span.firstChild);
        option.selected = true;
    }
    const {mode, level, rising, pipe} = settings.trigger;
    byId('mode').value = mode;
    byId('source').value = pipe;
    byId('slope').textContent = rising ? '↗' : '↘';
    if (document.activeElement !== byId('level')) byId('level').value = level ?? '';
    for (const id of ['source', 'slope', 'level']) byId(id).hidden = mode === 'off';
    byId('apart').ariaPressed = String(settings.apart);
    byId('spectrumSwitch').ariaPressed = String(isSpectrumShown);
    byId('spectrum').hidden = !isSpectrumShown;
    setText(byId('origin'), scope.originText());
    const shownPlaces = scope.shown;
    legend.forEach(({button, value}, place) => {
        button.ariaPressed = String(shownPlaces.includes(place));
        const of = scope.frame?.pipes.find((each) => each.index === place);
        setText(value, of ? `${sample(of.last)} ${scope.unitOf(place)}`.trimEnd() : '');
    });
    if (isSpectrumShown && shownPlaces.join() !== spectrum.pipes?.map((each) => each.place).join()) showSpectrum(true);
}

function showSpectrum(isShown) {
    isSpectrumShown = isShown;
    const places = isShown ? scope.shown : [];
    spectrum.setPipes(places.map((place) => ({place})));
    scope.setSampled(places, Number(byId('points').value));
    showScope();
    if (isShown) byId('spectrum').scrollIntoView({block: 'nearest'});
}

function setTheme(theme) {
    document.documentElement.dataset.theme = theme;
    scope.redraw();
    spectrum.redraw();
}

const dark = matchMedia('(prefers-color-scheme: dark)');
setTheme(dark.matches ? 'dark' : 'light');
dark.addEventListener('change', () => setTheme(dark.matches ? 'dark' : 'light'));

const modes = ['off', 'auto', 'normal', 'single'];
const setMode = (mode) => {
    scope.setTrigger({mode});
    if (mode !== 'off' && scope.isHeld && !scope.hasEnded) scope.hold(false);
};
const fileName = () => byId('procedure').textContent.replace(/\.zp$/, '');
const saving = (save) => () => {
    if (scope.frame) save();
};

// What can be done: by a button, by a key, or by both.
const actions = [
    [' ', 'Space', 'hold the picture, and let it move again', 'hold', () => scope.hold()],
    ['+', '+', 'zoom in', 'narrower', () => scope.zoomBy(-1)],
    ['-', '−', 'zoom out', 'wider', () => scope.zoomBy(1)],
    ['ArrowLeft', '←', 'earlier', null, () => scope.move(-0.25)],
    ['ArrowRight', '→', 'later', null, () => scope.move(0.25)],
    ['a', 'A', 'the whole run', 'all', () => scope.all()],
    ['t', 'T', 'trigger: off, auto, normal, single', null, () => setMode(modes[(modes.indexOf(settings.trigger.mode) + 1) % 4])],
    ['l', 'L', 'plots apart, or in one', 'apart', () => scope.setApart(!settings.apart)],
    ['f', 'F', 'spectrum', 'spectrumSwitch', () => showSpectrum(!isSpectrumShown)],
    ['p', 'P', 'pause the run, and let it continue', 'pause', () => connection.send({type: state.phase === 'paused' ? 'continue' : 'pause'})],
    ['r', 'R', 'start the procedure again', 'start', () => connection.send({type: 'start'})],
    ['s', 'S', 'stop the run', 'stop', () => connection.send({type: 'stop'})],
    ['c', 'C', 'save what is seen as CSV', 'csv', saving(() => saveCsv(scope, fileName()))],
    ['i', 'I', 'save the picture as PNG', 'png', saving(() => savePng(scope, isSpectrumShown ? spectrum.plot : null, fileName()))],
    ['d', 'D', 'dark or light', 'theme', () => setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark')],
    ['?', '?', 'these keys', 'help', () => byId('keys').showModal()],
];

byId('span').append(...spans.map((each) => new Option(engineering(each, 's'), each)));
byId('span').addEventListener('change', () => scope.setSpan(Number(byId('span').value)));
byId('mode').addEventListener('change', () => setMode(byId('mode').value));
byId('source').addEventListener('change', () => scope.setTrigger({pipe: byId('source').value}));
byId('slope').addEventListener('click', () => scope.setTrigger({rising: !settings.trigger.rising}));
byId('level').addEventListener('change', () => scope.setTrigger({level: Number(byId('level').value)}));
byId('points').addEventListener('change', () => showSpectrum(true));
byId('closeKeys').addEventListener('click', () => byId('keys').close());
for (const [, , , id, act] of actions) if (id) byId(id).addEventListener('click', act);
for (const [, name, does] of [...actions, [null, '1 … 9', 'show or hide a pipe']]) {
    const term = document.createElement('dt'), what = document.createElement('dd');
    term.append(Object.assign(document.createElement('kbd'), {textContent: name}));
    what.textContent = does;
    byId('keyList').append(term, what);
}

document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || state === null || !settings.trigger || document.querySelector('dialog[open]')) return;
    if (event.target.matches('input:not([type=range]), select, textarea')) return;
    if (event.target.matches('input[type=range]') && event.key.startsWith('Arrow')) return;
    if (event.target.matches('button') && event.key === ' ') return;
    if (/^[1-9]$/.test(event.key) && Number(event.key) <= state.pipes.length) return scope.toggle(Number(event.key) - 1);
    const action = actions.find(([on]) => on === (event.key === '=' ? '+' : event.key.length === 1 ? event.key.toLowerCase() : event.key));
    if (!action) return;
    event.preventDefault();
    action[4]();
});
