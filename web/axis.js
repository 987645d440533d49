// The value axis of a plot: its unit, and a range that stands, as a page remembers them.
import {sample} from './format.js';

const byId = (id) => document.getElementById(id);

export class AxisDialog {
    // `changed()` is called when an axis has become another.
    constructor(changed) {
        this.dialog = byId('axis');
        this.fields = ['axisUnit', 'axisFollows', 'axisFrom', 'axisTo'].map(byId);
        const [unit, follows, from, to] = this.fields;
        const show = () => (from.disabled = to.disabled = follows.checked);
        follows.addEventListener('change', show);
        byId('axisDone').addEventListener('click', () => {
            const range = [from, to].map((field) => (field.value === '' ? NaN : Number(field.value)));
            const isRange = !follows.checked && range[0] < range[1];
            this.axes[this.key] = {unit: unit.value.trim(), ...(isRange ? {range} : {})};
            this.dialog.close();
            changed();
        });
        byId('axisCancel').addEventListener('click', () => this.dialog.close());
        this.dialog.addEventListener('keydown', (event) => {
            if (event.key === 'Enter' && event.target.matches('input')) byId('axisDone').click();
        });
        this.show = show;
    }

    // `axes` takes the answer, by `key`; `range` is what is shown now.
    open(axes, key, range) {
        Object.assign(this, {axes, key});
        const [unit, follows, from, to] = this.fields, now = axes[key] ?? {};
        byId('axisOf').textContent = key === '' ? 'all pipes' : key;
        unit.value = now.unit ?? '';
        follows.checked = !now.range;
        [from.value, to.value] = (now.range ?? range).map(sample);
        this.show();
        this.dialog.showModal();
    }
}
