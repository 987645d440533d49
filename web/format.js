// Numbers as people read them.

const prefixes = [[1e9, 'G'], [1e6, 'M'], [1e3, 'k'], [1, ''], [1e-3, 'm'], [1e-6, 'µ'], [1e-9, 'n']];

// 1234567 with 3 digits is "1.23 M", a unit comes after it.
export function engineering(value, unit = '', digits = 3) {
    if (!Number.isFinite(value)) return '–';
    const size = Math.abs(value);
    const [factor, prefix] = size === 0 ? [1, ''] : prefixes.find(([least]) => size >= least * 0.9995) ?? prefixes.at(-1);
    return `${Number((value / factor).toPrecision(digits))} ${prefix}${unit}`.trimEnd();
}

// A sample: all that a float says, in little room.
export function sample(value) {
    if (Number.isNaN(value)) return 'nan';
    if (!Number.isFinite(value)) return value > 0 ? 'inf' : '-inf';
    if (Number.isInteger(value) && Math.abs(value) < 1e9) return String(value);
    const size = Math.abs(value);
    return size >= 1e6 || size < 1e-4 ? value.toExponential(3) : String(Number(value.toPrecision(5)));
}

// As few digits as say which number it is: of a float, those that a float tells apart.
export function shortest(value, isFloat) {
    if (!isFloat || !Number.isFinite(value)) return String(value);
    let text = '';
    for (let digits = 1; digits <= 9 && Math.fround(Number(text || NaN)) !== Math.fround(value); ++digits) text = String(Number(value.toPrecision(digits)));
    return text;
}

// The unit in which `span` of a quantity is read, and its factor.
export function unitFor(span, unit) {
    const [factor, prefix] = prefixes.find(([least]) => span >= least * 0.9995) ?? prefixes.at(-1);
    return {factor, unit: prefix + unit};
}

// The lengths of a picture, from 10 µs on: 1, 2, 5, ...
export const spans = [];
for (let power = -5; power <= 4; ++power) for (const digit of [1, 2, 5]) spans.push(Number(`${digit}e${power}`));

export const nearestSpan = (seconds) =>
    spans.reduce((best, each) => (Math.abs(Math.log(each / seconds)) < Math.abs(Math.log(best / seconds)) ? each : best));
