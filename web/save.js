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
        const unit = scope.unitOf(pipe.index), name = pipes[pipe.index].name + (unit ? ` / ${unit}` : '');
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

// The trigger's level is no part of the plot.
function drawLevel(context, lane, x, y) {
    const part = lane.levelPart?.() ?? null, {left, top, width, height} = lane.plot.bbox;
    if (part === null) return;
    context.save();
    context.strokeStyle = css('--mark');
    context.setLineDash([4, 4]);
    context.strokeRect(x + left, y + top + part * height, width, 0);
    context.restore();
}

export function savePng(scope, spectrum, name) {
    const ratio = devicePixelRatio, gap = 8 * ratio, head = 26 * ratio, rows = [...scope.lanes, ...(spectrum ? [{plot: spectrum}] : [])];
    const canvas = document.createElement('canvas');
    canvas.width = Math.max(...rows.map(({plot}) => plot.ctx.canvas.width)) + 2 * gap;
    canvas.height = head + rows.reduce((sum, {plot}) => sum + plot.ctx.canvas.height + gap, 0) + 20 * ratio;
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
    for (const row of rows) {
        context.drawImage(row.plot.ctx.canvas, gap, y);
        drawLevel(context, row, gap, y);
        y += row.plot.ctx.canvas.height + gap;
    }
    context.fillStyle = css('--axis');
    context.fillText(scope.originText(), gap, y + 10 * ratio);
    canvas.toBlob((blob) => download(`${name}.png`, blob));
}
