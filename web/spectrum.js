// The spectrum of the pipes that are shown, from their last samples.
import uPlot from 'uplot';

import {powerSpectrum} from './fft.js';
import {unitFor} from './format.js';
import {colourOf, css} from './lane.js';

const smoothing = 0.35, floor = 1e-14;

export class Spectrum {
    constructor(parent) {
        this.parent = parent;
        this.powers = new Map();
        this.unit = {factor: 1, unit: 'Hz'};
        new ResizeObserver(() => this.resize()).observe(parent);
    }

    setPipes(pipes) {
        this.plot?.destroy();
        this.powers.clear();
        this.pipes = pipes;
        const axis = (more) => ({stroke: () => css('--axis'), grid: {stroke: () => css('--grid'), width: 1}, ticks: {stroke: () => css('--grid'), width: 1}, font: '11px system-ui, sans-serif', labelFont: '11px system-ui, sans-serif', labelSize: 16, ...more});
        this.plot = new uPlot({
            width: 400,
            height: 240,
            legend: {show: false},
            cursor: {drag: {x: true, y: false}, points: {show: false}},
            scales: {x: {time: false}, y: {range: (_, least, greatest) => [Math.max(least ?? -120, (greatest ?? 0) - 140) - 5, (greatest ?? 0) + 8]}},
            axes: [axis({size: 46, label: ' ', values: (_, ticks) => ticks.map((each) => Number((each / this.unit.factor).toPrecision(6)))}), axis({size: 62, label: 'dB'})],
            series: [{}, ...pipes.map((pipe) => ({stroke: () => colourOf(pipe.place), width: 1.2, points: {show: false}}))],
        }, [[0, 1], ...pipes.map(() => [null, null])], this.parent);
        this.resize();
    }

    // All on the frequencies of the fastest pipe; those of others end earlier.
    take(frame) {
        if (!this.plot || frame.pipes.length !== this.pipes.length || frame.columns < 4) return;
        const rate = Math.max(...frame.pipes.map((pipe) => pipe.rate)), bins = frame.columns / 2;
        const hertz = Array.from({length: bins}, (_, k) => (k * rate) / frame.columns);
        this.unit = unitFor(rate / 2, 'Hz');
        this.plot.axes[0].label = `frequency / ${this.unit.unit}`;
        const levels = frame.pipes.map((pipe) => {
            const power = powerSpectrum(pipe.least), old = this.powers.get(pipe.index);
            if (old?.length === power.length) for (let k = 0; k < bins; ++k) power[k] = old[k] + smoothing * (power[k] - old[k]);
            this.powers.set(pipe.index, power);
            const ratio = rate / pipe.rate;
            return Array.from(hertz, (_, k) => {
                const own = Math.round(k * ratio);
                return own < bins ? 10 * Math.log10(power[own] + floor) : null;
            });
        });
        this.plot.setData([hertz, ...levels]);
    }

    resize() {
        const width = this.parent.clientWidth;
        if (this.plot && width > 0) this.plot.setSize({width, height: width < 560 ? 190 : 240});
    }

    redraw() {
        this.plot?.redraw(true, true);
    }
}
