// What is seen, as a file: CSV of the columns, PNG of the plots.
import {colourOf, css} from './lane.js';

function download(name, blob) {
    const link = document.createElement('a');
    link.href = URL.createObjectURL(blob);
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

const quoted = (text) => (/[",\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text);

// A row for each column in which anything is; two values of a pipe where its columns have several samples.
export function csvOf(scope) {
    const {frame, view, pipes} = scope;
    const isWide = frame.pipes.map((pipe) => pipe.least.some((least, i) => !Number.isNaN(least) && least !== pipe.greatest[i]));
    const heading = ['seconds'];
    frame.pipes.forEach((pipe, i) => {
        const {name} = pipes[pipe.index];
        heading.push(...(isWide[i] ? [`${name} least`, `${name} greatest`] : [name]));
    });
    const rows = [heading.map(quoted).join(',')];
    for (let i = 0; i < frame.columns; ++i) {
        const seconds = frame.start + i * frame.step;
        if (seconds + frame.step < view[0] || seconds > view[1] || frame.pipes.every((pipe) => Number.isNaN(pipe.least[i]))) continue;
        const text = (value) => (Number.isNaN(value) ? '' : String(value));
        const values = frame.pipes.flatMap((pipe, k) => (isWide[k] ? [text(pipe.least[i]), text(pipe.greatest[i])] : [text(pipe.least[i])]));
        rows.push([Number(seconds.toPrecision(12)), ...values].join(','));
    }
    return rows.join('\n') + '\n';
}

export const saveCsv = (scope, name) => download(`${name}.csv`, new Blob([csvOf(scope)], {type: 'text/csv'}));

export function savePng(scope, spectrum, name) {
    const ratio = devicePixelRatio, gap = 8 * ratio, head = 26 * ratio;
    const plots = [...scope.lanes.map((lane) => lane.plot), ...(spectrum ? [spectrum] : [])].map((plot) => plot.ctx.canvas);
    const canvas = document.createElement('canvas');
    canvas.width = Math.max(...plots.map((plot) => plot.width)) + 2 * gap;
    canvas.height = head + plots.reduce((sum, plot) => sum + plot.height + gap, 0) + 20 * ratio;
    const context = canvas.getContext('2d');
    context.fillStyle = css('--screen');
    context.fillRect(0, 0, canvas.width, canvas.height);
    context.font = `${12 * ratio}px system-ui, sans-serif`;
    let x = gap;
    for (const place of scope.shown) {
        context.fillStyle = colourOf(place);
        context.fillText(`■ ${scope.pipes[place].name}`, x, 18 * ratio);
        x += context.measureText(`■ ${scope.pipes[place].name}`).width + 2 * gap;
    }
    let y = head;
    for (const plot of plots) {
        context.drawImage(plot, gap, y);
        y += plot.height + gap;
    }
    context.fillStyle = css('--axis');
    context.fillText(scope.originText(), gap, y + 10 * ratio);
    canvas.toBlob((blob) => download(`${name}.png`, blob));
}
