// The binary frames, as docs/page.md lays them out.

const headBytes = 48, pipeBytes = 32;

export function decode(buffer) {
    const view = new DataView(buffer);
    const columns = view.getUint32(12, true);
    const isColumns = view.getUint8(0) === 1;
    const frame = {
        kind: isColumns ? 'columns' : 'samples',
        hasEvent: (view.getUint8(1) & 1) !== 0,
        run: view.getUint32(4, true),
        look: view.getUint32(8, true),
        columns,
        start: view.getFloat64(16, true),
        step: view.getFloat64(24, true),
        event: view.getFloat64(32, true),
        newest: view.getFloat64(40, true),
        pipes: [],
    };
    let at = headBytes;
    for (let i = 0; i < view.getUint16(2, true); ++i) {
        const pipe = {
            index: view.getUint32(at, true),
            seen: view.getFloat64(at + 8, true),
            rate: view.getFloat64(at + 16, true),
            last: view.getFloat64(at + 24, true),
        };
        at += pipeBytes;
        pipe.least = new Float64Array(buffer, at, columns);
        at += 8 * columns;
        if (isColumns) {
            pipe.greatest = new Float64Array(buffer, at, columns);
            at += 8 * columns;
        }
        frame.pipes.push(pipe);
    }
    return frame;
}
