// One plot of the scope: least and greatest value of each column, drawn as what an instrument's beam would light up.
import uPlot from 'uplot';

import {sample, unitFor} from './format.js';

export const css = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
export const colourOf = (place) => css(`--c${place % 8}`);

const mostDots = 120;
export const timesHeight = 26;

function drawFrame({ctx, bbox}) {
    ctx.strokeStyle = css('--frame');
    ctx.lineWidth = 1;
    ctx.strokeRect(Math.round(bbox.left) + 0.5, Math.round(bbox.top) + 0.5, Math.round(bbox.width) - 1, Math.round(bbox.height) - 1);
}

// The least and the greatest of what is drawn between two places; nothing where there is no finite value.
function extremes(pipes, from, to) {
    let least = Infinity, greatest = -Infinity;
    for (const pipe of pipes) {
        for (let i = from; i < to; ++i) {
            if (pipe.least[i] < least && pipe.least[i] !== -Infinity) least = pipe.least[i];
            if (pipe.greatest[i] > greatest && pipe.greatest[i] !== Infinity) greatest = pipe.greatest[i];
        }
    }
    return least <= greatest ? [least, greatest] : null;
}

export class Lane {
    // `pipes`: of each its place among all and its name. `axis`: its label, a range where it is not to follow the samples, and
    // whether the times are written beneath: lanes that stand one above another share them.
    // `hooks`: onZoom(from, to), onBack(), onWheel(direction, seconds), onLevel(value), onAxis(lane).
    constructor(parent, pipes, axis, hooks) {
        this.pipes = pipes;
        this.fixed = axis.range;
        this.hooks = hooks;
        this.data = [];
        this.marks = [];
        this.range = axis.range ?? [0, 1];
        this.unit = unitFor(1, 's');
        this.element = document.createElement('div');
        this.element.className = 'lane';
        parent.append(this.element);
        this.plot = new uPlot(this.options(axis), [[0, 1], ...pipes.map(() => [null, null])], this.element);
        this.readout = document.createElement('div');
        this.readout.className = 'readout';
        this.plot.over.append(this.readout);
        this.addWheel();
        this.addAxisButton(axis.label);
        this.plot.over.addEventListener('pointerdown', () => {
            this.isPressed = true;
            for (const kind of ['pointerup', 'pointercancel'])
                addEventListener(kind, () => (this.isPressed = false), {once: true, capture: true});
        });
    }

    options({label, hasTimes}) {
        const axis = (more) => ({
            stroke: () => css('--axis'),
            grid: {stroke: () => css('--grid'), width: 1},
            ticks: {stroke: () => css('--grid'), width: 1, size: 5},
            font: '11px system-ui, sans-serif',
            labelFont: '11px system-ui, sans-serif',
            labelSize: 16,
            ...more,
        });
        return {
            width: 400,
            height: 160,
            legend: {show: false},
            cursor: {
                sync: {key: 'scope', scales: ['x', null], filters: {pub: (type) => type === 'mousemove' || type === 'mouseleave'}},
                points: {show: false},
                drag: {x: true, y: false, setScale: false, dist: 6},
                // Also over what lies on the plot, such as the trigger's level: else a selection would end at its edge.
                bind: {dblclick: () => () => this.hooks.onBack(), mousemove: (_u, _target, move) => move},
            },
            scales: {x: {time: false, auto: false, range: () => this.view ?? [0, 1]}, y: {auto: false, range: () => this.range}},
            axes: [
                axis({size: hasTimes ? timesHeight : 8, space: 60,
                    values: (_, ticks) => ticks.map((each) => hasTimes ? this.tickText(each / this.unit.factor, ticks) : ''),
                    splits: (_u, _i, from, to, step) => this.splits(from, to, step)}),
                axis({size: 62, label, space: 22}),
            ],
            series: [{}, ...this.pipes.map((pipe, i) => ({
                stroke: () => colourOf(pipe.place), width: 1.4, points: {show: false}, paths: (u) => this.path(u, i),
            }))],
            hooks: {
                setSelect: [(u) => this.selected(u)],
                setCursor: [(u) => this.showReadout(u)],
                drawSeries: [(u, index) => this.drawDots(u, index - 1)],
                drawAxes: [drawFrame],
                draw: [(u) => this.drawMarks(u)],
            },
        };
    }

    // Ticks at round numbers of the axis' unit.
    splits(from, to, step) {
        const {factor} = this.unit, places = [];
        const rounded = Number((step / factor).toPrecision(6));
        for (let k = Math.ceil(from / factor / rounded - 1e-9); k * rounded * factor <= to + 1e-9 * step; ++k) places.push(k * rounded * factor);
        return places;
    }

    tickText(value, ticks) {
        const step = ticks.length > 1 ? Math.abs(ticks[1] - ticks[0]) / this.unit.factor : 1;
        return value.toFixed(Math.max(0, Math.min(9, Math.ceil(-Math.log10(step) - 1e-9))));
    }

    // Where a column's values are, in pixels of the canvas.
    places(u) {
        const {left, top, width, height} = u.bbox, {min: x0, max: x1} = u.scales.x, {min: y0, max: y1} = u.scales.y;
        const perX = width / (x1 - x0), perY = height / (y1 - y0);
        const clamp = (y) => Math.max(top - 9999, Math.min(top + height + 9999, y));
        return {x: (value) => left + (value - x0) * perX, y: (value) => clamp(top + height - (value - y0) * perY)};
    }

    path(u, index) {
        const path = new Path2D(), pipe = this.data[index];
        if (pipe === undefined) return null;
        const {x, y} = this.places(u), times = this.times;
        let before = NaN;
        for (let i = this.from; i < this.to; ++i) {
            if (Number.isNaN(pipe.least[i])) continue;
            const at = x(times[i]), low = y(pipe.least[i]), high = y(pipe.greatest[i]);
            // The nearer end of the column comes first.
            const [first, last] = Math.abs(before - low) < Math.abs(before - high) ? [low, high] : [high, low];
            if (Number.isNaN(before)) path.moveTo(at, first);
            else path.lineTo(at, first);
            if (last !== first) path.lineTo(at, last);
            before = last;
        }
        return {stroke: path, fill: null, clip: null, flags: 0};
    }

    // Single samples are seen as such where there are few.
    drawDots(u, index) {
        const pipe = this.data[index];
        if (pipe === undefined) return;
        let count = 0;
        for (let i = this.from; i < this.to && count <= mostDots; ++i) count += Number.isNaN(pipe.least[i]) ? 0 : 1;
        if (count > mostDots) return;
        const {x, y} = this.places(u), context = u.ctx, radius = 2.6 * devicePixelRatio;
        context.save();
        context.beginPath();
        context.rect(u.bbox.left, u.bbox.top, u.bbox.width, u.bbox.height);
        context.clip();
        context.fillStyle = colourOf(this.pipes[index].place);
        for (let i = this.from; i < this.to; ++i) {
            if (Number.isNaN(pipe.least[i])) continue;
            context.beginPath();
            context.arc(x(this.times[i]), y(pipe.least[i]), radius, 0, 2 * Math.PI);
            context.fill();
        }
        context.restore();
    }

    drawMarks(u) {
        const context = u.ctx, {left, top, width, height} = u.bbox, ratio = devicePixelRatio, {x} = this.places(u);
        context.save();
        context.strokeStyle = context.fillStyle = css('--mark');
        context.lineWidth = ratio;
        context.font = `${10 * ratio}px system-ui, sans-serif`;
        context.textAlign = 'left';
        context.textBaseline = 'alphabetic';
        let free = -Infinity;
        const isNamed = this.marks.length <= 12;
        for (const mark of this.marks) {
            const at = Math.round(x(mark.seconds)) + 0.5 * ratio;
            if (at < left || at > left + width) continue;
            context.setLineDash([3 * ratio, 3 * ratio]);
            context.beginPath();
            context.moveTo(at, top);
            context.lineTo(at, top + height);
            context.stroke();
            context.beginPath();
            context.moveTo(at - 4 * ratio, top);
            context.lineTo(at + 4 * ratio, top);
            context.lineTo(at, top + 7 * ratio);
            context.fill();
            const room = context.measureText(mark.name).width + 10 * ratio;
            if (isNamed && at > free && at + room < left + width) {
                context.fillText(mark.name, at + 6 * ratio, top + 10 * ratio);
                free = at + room;
            }
        }
        context.restore();
    }

    selected(u) {
        if (this.isPressed || u.select.width < 6) return;
        const from = u.posToVal(u.select.left, 'x'), to = u.posToVal(u.select.left + u.select.width, 'x');
        u.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
        this.hooks.onZoom(from, to);
    }

    // Over the axis' label.
    addAxisButton(label) {
        const button = document.createElement('button');
        button.className = 'axis';
        button.title = 'Unit and range of these values';
        button.ariaLabel = `Unit and range of ${label}`;
        button.addEventListener('click', () => this.hooks.onAxis(this));
        this.plot.root.append(button);
    }

    addWheel() {
        this.plot.over.addEventListener('wheel', (event) => {
            event.preventDefault();
            const at = this.plot.posToVal(event.clientX - this.plot.over.getBoundingClientRect().left, 'x');
            this.hooks.onWheel(Math.sign(event.deltaY), at);
        }, {passive: false});
    }

    showReadout(u) {
        const {left} = u.cursor;
        if (left === null || left < 0 || !this.times) {
            this.readout.textContent = '';
            return;
        }
        const at = u.posToVal(left, 'x');
        let i = Math.max(this.from, Math.min(this.to - 1, Math.round((at - this.times[0]) / (this.times[1] - this.times[0]))));
        const texts = this.data.map((pipe) => {
            let k = i;
            while (k > this.from && Number.isNaN(pipe.least[k])) --k;
            const [low, high] = [pipe.least[k], pipe.greatest[k]];
            return low === high || Number.isNaN(low) ? sample(low) : `${sample(low)} … ${sample(high)}`;
        });
        this.readout.textContent = `${(at / this.unit.factor).toPrecision(5)} ${this.unit.unit}:  ${texts.join('   ')}`;
    }

    // `times` are those of the columns, relative to the origin; `view` is the stretch that is seen.
    show(times, data, view, marks) {
        this.times = times;
        this.data = data;
        this.view = view;
        this.marks = marks;
        this.unit = unitFor(view[1] - view[0], 's');
        const step = times[1] - times[0] || 1;
        this.from = Math.max(0, Math.floor((view[0] - times[0]) / step) - 1);
        this.to = Math.min(times.length, Math.ceil((view[1] - times[0]) / step) + 2);
        this.fit();
        this.plot.setData([times, ...data.map((pipe) => pipe.greatest)], false);
        this.plot.batch(() => {
            this.plot.setScale('x', {min: view[0], max: view[1]});
            this.plot.setScale('y', {min: this.range[0], max: this.range[1]});
        });
        this.placeLevel();
    }

    // The range follows what is drawn; it becomes narrower only where there is much room, so that it does not tremble.
    fit() {
        const found = this.fixed ? null : extremes(this.data, this.from, this.to);
        if (found === null) return;
        const [least, greatest] = found, height = greatest - least || Math.abs(greatest) * 0.2 || 2;
        const [low, high] = this.range, fits = least >= low && greatest <= high && height > 0.55 * (high - low);
        if (fits && this.fitted) return;
        const middle = (least + greatest) / 2, reach = greatest === least ? height / 2 : 0.56 * height;
        this.range = [middle - reach, middle + reach];
        this.fitted = true;
    }

    // The trigger's level, as a line that can be dragged, or moved with the arrow keys.
    setLevel(value) {
        this.level = value;
        if (value === null) {
            this.handle?.remove();
            this.handle = null;
        } else if (!this.handle) {
            this.addHandle();
        }
        this.placeLevel();
    }

    addHandle() {
        const handle = document.createElement('div');
        handle.className = 'level';
        handle.tabIndex = 0;
        handle.setAttribute('role', 'slider');
        handle.setAttribute('aria-label', 'Trigger level');
        handle.setAttribute('aria-orientation', 'vertical');
        const valueAt = (event) => this.plot.posToVal(event.clientY - this.plot.over.getBoundingClientRect().top, 'y');
        for (const kind of ['mousedown', 'dblclick']) handle.addEventListener(kind, (event) => event.stopPropagation());
        handle.addEventListener('pointerdown', (event) => {
            event.stopPropagation();
            handle.setPointerCapture(event.pointerId);
            handle.onpointermove = (move) => this.hooks.onLevel(valueAt(move));
        });
        handle.addEventListener('lostpointercapture', () => (handle.onpointermove = null));
        handle.addEventListener('keydown', (event) => {
            const steps = {ArrowUp: 1, ArrowDown: -1, PageUp: 10, PageDown: -10}[event.key];
            if (!steps) return;
            event.preventDefault();
            event.stopPropagation();
            this.hooks.onLevel(this.level + (steps * (this.range[1] - this.range[0])) / 100);
        });
        this.plot.over.append(handle);
        this.handle = handle;
    }

    // Where the level is, in parts of the plot's height from the top; null where there is none.
    levelPart() {
        if (!this.handle) return null;
        const [low, high] = this.range;
        return 1 - (Math.max(low, Math.min(high, this.level)) - low) / (high - low);
    }

    placeLevel() {
        const part = this.levelPart(), [low, high] = this.range;
        if (part === null) return;
        this.handle.style.top = `${part * this.plot.over.clientHeight}px`;
        this.handle.classList.toggle('beyond', this.level < low || this.level > high);
        this.handle.setAttribute('aria-valuenow', sample(this.level));
        this.handle.setAttribute('aria-valuemin', sample(low));
        this.handle.setAttribute('aria-valuemax', sample(high));
    }

    resize(height) {
        const width = this.element.clientWidth;
        if (width > 0 && (width !== this.plot.width || height !== this.plot.height)) this.plot.setSize({width, height});
        this.placeLevel();
    }

    redraw() {
        this.plot.redraw(true, true);
    }

    destroy() {
        this.plot.destroy();
        this.element.remove();
    }
}
