// The variables, as sliders and fields. Both change the run.
import {sample, shortest} from './format.js';

const whole = {int16: [-32768, 32767], int32: [-2147483648, 2147483647]};

// Where a slider begins and ends, by the value that the variable starts with.
function rangeFor(variable) {
    const start = Number(variable.starts ?? variable.value);
    const limits = whole[variable.elements] ?? [-Infinity, Infinity];
    if (!Number.isFinite(start)) return [-1, 1];
    if (start === 0) return whole[variable.elements] ? [-10, 10] : [-1, 1];
    const far = Number((4 * start).toPrecision(3));
    return [Math.max(limits[0], Math.min(0, far)), Math.min(limits[1], Math.max(0, far))];
}

class Variable {
    constructor(parent, variable, ranges, send) {
        this.name = variable.name;
        this.isWhole = variable.elements in whole;
        this.isFloat = variable.elements === 'float';
        this.starts = variable.starts ?? variable.value;
        this.ranges = ranges;
        this.send = send;
        const [least, greatest] = ranges[this.name] ?? rangeFor(variable);
        this.element = document.createElement('div');
        this.element.className = 'variable';
        this.element.innerHTML = `<span class="name"><label></label><small></small></span><input class="value" type="number" step="any">
            <button class="back" title="Back to the procedure's value">↺</button>
            <div class="range"><input type="number" step="any" title="Where the slider begins"><input class="slider" type="range"><input type="number" step="any" title="Where the slider ends"></div>`;
        const get = (selector) => this.element.querySelector(selector);
        get('label').textContent = this.name;
        get('label').htmlFor = `variable-${this.name}`;
        get('small').textContent = variable.elements;
        [this.field, this.slider, this.reset] = [get('.value'), get('.slider'), get('.back')];
        this.slider.id = `variable-${this.name}`;
        [this.from, this.to] = this.element.querySelectorAll('.range input[type=number]');
        this.field.ariaLabel = `Value of ${this.name}`;
        this.from.ariaLabel = `Least of ${this.name}`;
        this.to.ariaLabel = `Greatest of ${this.name}`;
        this.reset.ariaLabel = `${this.name} back to the procedure's value`;
        [this.from.value, this.to.value] = [least, greatest];
        this.setRange();
        this.slider.addEventListener('input', () => this.set(Number(this.slider.value)));
        this.field.addEventListener('change', () => this.set(Number(this.field.value)));
        this.reset.addEventListener('click', () => this.set(Number(this.starts)));
        for (const end of [this.from, this.to]) end.addEventListener('change', () => this.setRange(true));
        parent.append(this.element);
        this.show(variable.value);
    }

    setRange(isOwn) {
        const least = Number(this.from.value), greatest = Number(this.to.value);
        if (!(greatest > least)) return;
        this.slider.min = least;
        this.slider.max = greatest;
        this.slider.step = this.isWhole ? 1 : Number(((greatest - least) / 1000).toPrecision(1));
        if (isOwn) this.ranges[this.name] = [least, greatest];
    }

    // At most 30 a second while the slider is drawn.
    set(value) {
        if (!Number.isFinite(value)) return;
        this.touched = performance.now();
        this.wanted = value;
        this.put(value);
        if (this.timer) return;
        const flush = () => {
            this.timer = null;
            if (this.sent === this.wanted) return;
            this.sent = this.wanted;
            this.send(this.name, this.wanted);
            this.timer = setTimeout(flush, 33);
        };
        this.sent = NaN;
        flush();
    }

    put(value) {
        if (document.activeElement !== this.field || this.wanted === value) this.field.value = shortest(value, this.isFloat);
        this.slider.value = value;
        this.slider.ariaValueText = sample(Number(value));
    }

    // What the run says; not while the user is at it.
    show(value) {
        if (this.touched && performance.now() - this.touched < 600) return;
        if (this.shown === value && this.wanted === undefined) return;
        this.shown = value;
        this.wanted = undefined;
        if (document.activeElement !== this.field) this.field.value = shortest(value, this.isFloat);
        this.slider.value = value;
    }
}

export class Variables {
    constructor(section, parent, ranges, send) {
        Object.assign(this, {section, parent, ranges, send});
        this.list = [];
    }

    show(variables) {
        this.section.hidden = variables.length === 0;
        const isSame = variables.length === this.list.length && variables.every((each, i) => each.name === this.list[i].name);
        if (!isSame) {
            this.parent.replaceChildren();
            this.list = variables.map((each) => new Variable(this.parent, each, this.ranges, this.send));
        }
        variables.forEach((each, i) => {
            this.list[i].starts = each.starts ?? each.value;
            this.list[i].show(each.value);
        });
    }
}
