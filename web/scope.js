// The oscilloscope: what is looked at, and what of it is drawn.
import {engineering, nearestSpan, spans} from './format.js';
import {Lane, timesHeight} from './lane.js';

const mostShown = 8, atFirst = 4, heldColumns = 16384;
const longestLabel = 16;  // letters, beside a low plot

export class Scope {
    // `send(look)`; `settings` keeps what a page is to remember; `marksIn(from, to)` gives events; `openAxis(axes, key, range)`
    // opens the dialog of a value axis.
    constructor(parent, settings, {send, marksIn, changed, openAxis}) {
        Object.assign(this, {parent, settings, sendLook: send, marksIn, changed});
        this.lanes = [];
        this.pipes = [];
        this.number = 0;
        this.frame = null;
        this.isHeld = false;
        this.sampled = [];
        this.hooks = {
            onZoom: (from, to) => this.zoomTo(from, to),
            onBack: () => this.back(),
            onWheel: (direction, at) => this.zoomBy(direction < 0 ? -1 : 1, at),
            onAxis: (lane) => openAxis((this.settings.axes ??= {}), this.axisOf(lane.pipes).key, lane.range),
            onLevel: (value) => this.setTrigger({level: this.roundedLevel(value)}),
        };
        new ResizeObserver(() => this.resize()).observe(parent);
    }

    get shown() {
        return (this.settings.shown ?? []).map((name) => this.pipes.findIndex((pipe) => pipe.name === name)).filter((place) => place >= 0);
    }
    get span() {
        return this.settings.span;
    }
    get trigger() {
        return this.settings.trigger;
    }

    // A procedure's pipes, and its rate: once for each run.
    setPipes(pipes, rate) {
        const isSame = pipes.length === this.pipes.length && pipes.every((pipe, i) => pipe.name === this.pipes[i].name);
        this.pipes = pipes;
        if (isSame) return;
        const known = new Set(pipes.map((pipe) => pipe.name));
        this.settings.shown = (this.settings.shown ?? pipes.slice(0, atFirst).map((pipe) => pipe.name)).filter((name) => known.has(name)).slice(0, mostShown);
        if (this.settings.shown.length === 0) this.settings.shown = pipes.slice(0, atFirst).map((pipe) => pipe.name);
        this.settings.span ??= nearestSpan(Math.min(20, 2000 / rate));
        this.settings.apart ??= this.settings.shown.length > 1;
        this.settings.trigger ??= {mode: this.settings.span < 0.3 ? 'auto' : 'off', level: null, rising: true};
        if (!known.has(this.trigger.pipe)) Object.assign(this.trigger, {pipe: this.settings.shown[0], level: null});
        this.build();
    }

    build() {
        for (const lane of this.lanes) lane.destroy();
        const one = (place) => ({place, name: this.pipes[place].name, elements: this.pipes[place].elements});
        const groups = this.settings.apart ? this.shown.map((place) => [one(place)]) : [this.shown.map(one)].filter((group) => group.length > 0);
        this.lanes = groups.map((group, i) => new Lane(this.parent, group, {...this.axisOf(group), hasTimes: i === groups.length - 1}, this.hooks));
        this.resize();
        this.showLevel();
        this.look();
        if (this.frame) this.draw();
        this.changed();
    }

    // Of values that have no unit, the type is what is known. Several pipes in one plot have an axis of their own.
    axisOf(group) {
        const key = group.length === 1 ? group[0].name : '', {unit, range} = this.settings.axes?.[key] ?? {};
        const units = unit || [...new Set(group.map((pipe) => this.unitOf(pipe.place) || pipe.elements))].join(', ');
        const name = key.length > longestLabel ? `${key.slice(0, longestLabel - 1)}…` : key, whole = `${name} / ${units}`;
        return {key, range, label: key === '' ? units : whole.length > longestLabel ? name : whole};
    }
    unitOf(place) {
        return this.settings.axes?.[this.pipes[place].name]?.unit ?? '';
    }

    resize() {
        const count = Math.max(1, this.lanes.length), isNarrow = this.parent.clientWidth < 560;
        const room = Math.max(300, innerHeight - (isNarrow ? 330 : 250) - (this.sampled.length > 0 ? 300 : 0)) - timesHeight;
        const height = Math.max(84, Math.min(count === 1 ? 560 : 330, Math.floor(room / count)));
        for (const lane of this.lanes) lane.resize(lane === this.lanes.at(-1) ? height + timesHeight : height);
        const columns = this.columnsSeen();
        if (columns !== this.columns) this.look();
    }

    // A column for each pixel of the screen.
    columnsSeen() {
        const plot = this.lanes[0]?.plot;
        return plot ? Math.max(50, Math.min(4096, Math.round(plot.bbox.width))) : 600;
    }

    // Asks for what is to be seen.
    look() {
        if (this.span === undefined) return;
        this.number = (this.number + 1) % 2 ** 32;
        if (this.isHeld) return this.lookHeld();
        this.columns = this.columnsSeen();
        const look = {pipes: this.shown, span: this.span, columns: this.columns};
        const place = this.pipes.findIndex((pipe) => pipe.name === this.trigger?.pipe);
        if (this.trigger && this.trigger.mode !== 'off' && this.trigger.level !== null && place >= 0)
            look.trigger = {pipe: place, level: this.trigger.level, rising: this.trigger.rising, waits: this.trigger.mode !== 'auto'};
        this.send(look);
    }

    send(look) {
        this.sendLook({type: 'look', look: this.number, ...look, sampled: this.isHeld ? [] : this.sampled, samples: this.samples ?? 4096});
    }

    // While the picture is held, more of it is asked for once, and then nothing.
    lookHeld() {
        if (!this.wanted) return this.send({pipes: [], span: this.span, columns: 1});
        const {from, to} = this.wanted;
        this.send({pipes: this.shown, span: to - from, end: to, columns: heldColumns});
    }

    take(frame) {
        if (frame.look !== this.number || frame.kind !== 'columns') return;
        if (this.isHeld && !this.wanted) return;
        // What the mouse is drawn over stands still.
        if (this.lanes.some((lane) => lane.isPressed)) return;
        this.frame = frame;
        if (!this.isHeld) {
            this.view = [frame.start, frame.start + frame.step * frame.columns];
            if (this.trigger.level === null) this.guessLevel();
            if (this.trigger.mode === 'single' && frame.hasEvent) this.hold(true);
        } else {
            this.wanted = null;
            this.look();
        }
        this.draw();
        this.changed();
    }

    // The first level is the middle of what is seen.
    guessLevel() {
        const pipe = this.frame.pipes.find((each) => this.pipes[each.index]?.name === this.trigger.pipe);
        const finite = pipe ? [...pipe.least, ...pipe.greatest].filter(Number.isFinite) : [];
        if (finite.length < 20) return;
        let least = Infinity, greatest = -Infinity;
        for (const value of finite) [least, greatest] = [Math.min(least, value), Math.max(greatest, value)];
        this.setTrigger({level: this.roundedLevel((least + greatest) / 2, greatest - least)});
    }

    roundedLevel(value, height) {
        const lane = this.laneOf(this.trigger.pipe);
        const step = (height ?? (lane ? lane.range[1] - lane.range[0] : 1)) / 500 || 1e-6;
        const unit = 10 ** Math.floor(Math.log10(step));
        return Number((Math.round(value / unit) * unit).toPrecision(12));
    }

    laneOf(name) {
        return this.lanes.find((lane) => lane.pipes.some((pipe) => pipe.name === name));
    }

    // Times are drawn relative to the event, or to the right end: the grid stands still.
    draw() {
        const frame = this.frame, origin = frame.hasEvent ? frame.event : this.isHeld ? this.origin ?? this.view[1] : this.view[1];
        this.origin = origin;
        const times = new Float64Array(frame.columns);
        for (let i = 0; i < frame.columns; ++i) times[i] = frame.start + (i + 0.5) * frame.step - origin;
        const view = this.view.map((each) => each - origin);
        const marks = this.marksIn(...this.view).map((mark) => ({...mark, seconds: mark.seconds - origin}));
        for (const lane of this.lanes) {
            const data = lane.pipes.map((pipe) => frame.pipes.find((each) => each.index === pipe.place));
            if (data.every((each) => each !== undefined)) lane.show(times, data, view, marks);
        }
    }

    hold(isHeld = !this.isHeld) {
        if (isHeld === this.isHeld) return;
        this.isHeld = isHeld;
        if (isHeld && this.frame) this.wanted = {from: this.view[0], to: this.view[1]};
        this.look();
        this.changed();
    }

    // From and to, relative to what the axis shows.
    zoomTo(from, to) {
        const view = [from + this.origin, to + this.origin];
        if (view[1] - view[0] < 1e-8) return;
        if (!this.isHeld) this.hold(true);
        this.see(view);
    }

    // Within what is held, or further, as far as the server still has it.
    see(view) {
        this.view = view;
        const {start, step, columns} = this.frame, end = start + step * columns;
        const isFine = (view[1] - view[0]) / step > this.columnsSeen() / 2;
        if (view[0] < start - step || view[1] > end + step || (this.hasEnded && !isFine)) {
            this.wanted = {from: view[0], to: view[1]};
            this.look();
        } else if (this.wanted) {
            this.wanted = {from: start, to: end};
        }
        this.draw();
        this.changed();
    }

    // In steps of the time base, or while it is held by factors of 2 around a place.
    zoomBy(steps, at) {
        if (this.isHeld) {
            const around = at === undefined ? (this.view[0] + this.view[1]) / 2 : at + this.origin, factor = 2 ** steps;
            return this.see(this.view.map((each) => around + (each - around) * factor));
        }
        const next = spans.indexOf(nearestSpan(this.span)) + steps;
        if (next >= 0 && next < spans.length) this.setSpan(spans[next]);
    }

    move(parts) {
        if (!this.frame) return;
        if (!this.isHeld) this.hold(true);
        const by = (this.view[1] - this.view[0]) * parts;
        this.see(this.view.map((each) => each + by));
    }

    back() {
        if (!this.isHeld) return;
        const {start, step, columns} = this.frame;
        if (this.view[0] > start + step || this.view[1] < start + step * (columns - 1)) this.see([start, start + step * columns]);
        else this.hold(false);
    }

    all() {
        if (!this.frame || !(this.frame.newest > 0)) return;
        if (this.hasEnded) {
            if (!this.isHeld) this.hold(true);
            this.origin = 0;
            return this.see([0, this.frame.newest]);
        }
        this.setSpan(this.frame.newest);
    }

    setSpan(seconds) {
        this.settings.span = seconds;
        if (this.isHeld) this.see([this.view[1] - seconds, this.view[1]]);
        else this.look();
        this.changed();
    }

    setTrigger(change) {
        if (change.pipe !== undefined && change.pipe !== this.trigger.pipe) change = {level: null, ...change};
        Object.assign(this.trigger, change);
        this.showLevel();
        if (!this.isHeld) this.look();
        this.changed();
    }

    showLevel() {
        const isOn = this.trigger && this.trigger.mode !== 'off' && this.trigger.level !== null;
        const own = isOn ? this.laneOf(this.trigger.pipe) : undefined;
        for (const lane of this.lanes) lane.setLevel(lane === own ? this.trigger.level : null);
    }

    toggle(place) {
        const name = this.pipes[place].name, shown = this.settings.shown, at = shown.indexOf(name);
        if (at >= 0) shown.splice(at, 1);
        else shown.push(name);
        const order = (each) => this.pipes.findIndex((pipe) => pipe.name === each);
        shown.sort((a, b) => order(a) - order(b));
        while (shown.length > mostShown) shown.pop();
        if (!shown.includes(this.trigger.pipe) && shown.length > 0) Object.assign(this.trigger, {pipe: shown[0], level: null});
        if (this.isHeld && this.frame) this.wanted = {from: this.view[0], to: this.view[1]};
        this.build();
    }

    setApart(apart) {
        this.settings.apart = apart;
        this.build();
    }

    setSampled(places, samples) {
        this.sampled = places;
        this.samples = samples;
        this.resize();
        this.look();
    }

    originText() {
        if (!this.frame || this.origin === undefined) return '';
        const seconds = (value) => value.toFixed(Math.max(1, Math.min(9, 2 - Math.floor(Math.log10(this.view[1] - this.view[0])))));
        const unit = this.lanes[0]?.unit.unit ?? 's';
        const zero = this.frame.hasEvent ? `the trigger's event at ${seconds(this.origin)} s` : `${seconds(this.origin)} s of the run`;
        return `time / ${unit}; 0 is ${zero}; ${engineering(this.view[1] - this.view[0], 's')} in all`;
    }

    redraw() {
        for (const lane of this.lanes) lane.redraw();
    }
}
