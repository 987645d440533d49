"""Long streams: recordings of up to 1 GB, positions past 2^32, and a pipe that must grow."""

import os
import random
import wave

from scale_run import count, require, samples, table

PERIOD = 1000  # samples from pulse to pulse
PULSE = range(500, 520)
LEVEL = 2000
BLOCK = 1_000_000  # samples, 2 MB, whose repetition is a recording


def pulsesInNoise():
    noise = random.Random(3).choices(range(-50, 51), k=BLOCK)
    return samples(LEVEL if i % PERIOD in PULSE else x for i, x in enumerate(noise))


def roundedMean(block):
    """Halves away from zero."""
    total = sum(block)
    size = (2 * abs(total) + len(block)) // (2 * len(block))
    return size if total >= 0 else -size


def truncatedHalf(x):
    return int(x / 2)


STREAM_LINES = [
    'pipe half : int16 to "half.bin"', 'pipe mean : int16 to "mean.bin"',
    "SCALE (x, 0, 1, 2, half)", f"AVERAGE (half, {PERIOD}, mean)",
]
GATE_LINES = [
    "pipe half : int16", "pipe mean : int16", "pipe link : int16", "pipe halfBack : int16",
    'pipe meanBack : int16 to "mean.bin"', "trigger edges", 'pipe cut : int16 to "cut.bin"',
    'pipe times : int32 to "times.bin"',
    "SCALE (x, 0, 1, 2, half)", f"AVERAGE (half, {PERIOD}, mean)", "MERGEF (half, mean, link)",
    "SEPARATEF (link, halfBack, meanBack)", "TOGGLE (x, outside, -100, 100, inside, -100, 100, edges)",
    "TOGGWT (x, edges, cut)", "TSTAMP (edges, times)",
]


def writeWave(name, block, times):
    with wave.open(name, "wb") as file:
        file.setparams((1, 2, 44100, 0, "NONE", ""))
        for _ in range(times):
            file.writeframesraw(block)


def longRecordings(bench):
    source = pulsesInNoise()
    half = samples(map(truncatedHalf, source))
    means = samples(roundedMean(half[i : i + PERIOD]) for i in range(0, BLOCK, PERIOD))
    rows, peaks = [], {}

    def measured(what, times, run):
        total = times * BLOCK
        peaks.setdefault(what, []).append(run.megabytes)
        rows.append((what, f"{total * 2 // 1_000_000} MB", f"{run.seconds:.2f}", f"{total / run.seconds / 1e6:.0f}",
                     f"{run.megabytes:.1f}"))

    for times in (1, 5) if bench.quick else (5, 50, 500):
        bench.note(f"a recording of {times * 2} MB")
        fed = lambda file: [file.write(source) for _ in range(times)]
        inWave = ['pipe x : int16 from "x.wav"']
        writeWave(bench.at("x.wav"), source.tobytes(), times)
        measured("WAV file", times, bench.run(inWave + STREAM_LINES))
        bench.requireRepeated("half.bin", half, times)
        bench.requireRepeated("mean.bin", means, times)
        measured("WAV file, merge and gate", times, bench.run(inWave + GATE_LINES))
        requireGate(bench, means, times)
        os.remove(bench.at("x.wav"))
        toWave = ["pipe x : int16", *STREAM_LINES]
        measured("standard input", times, bench.run(toWave, "--in", "x=-", "--out", "half=half.wav", feed=fed))
        bench.requireRepeated("half.wav", half, times, skipped=44)
        bench.requireRepeated("mean.bin", means, times)
    growths = [max(peak) - min(peak) for peak in peaks.values()]
    require(max(growths) < 1, f"the peak grew with the recording, by {max(growths):.1f} MB")
    return (table(("input", "size", "s", "million samples a second", "peak, MB"), rows) +
            f"\n\nThe peaks of one procedure differ by at most {max(growths):.2f} MB from its shortest recording to its "
            "longest.")


def requireGate(bench, means, times):
    """Each pulse passes the gate whole, and its edges stand where it stands."""
    bench.requireRepeated("mean.bin", means, times)
    bench.requireRepeated("cut.bin", samples([LEVEL] * (len(PULSE) * BLOCK // PERIOD)), times)
    edges = bench.read("times.bin", "i")
    on, off = PULSE.start, PULSE.stop
    pulses = times * BLOCK // PERIOD
    require(list(edges[0::2]) == list(range(on, on + pulses * PERIOD, PERIOD)) and
            list(edges[1::2]) == list(range(off, off + pulses * PERIOD, PERIOD)), "the edges are wrong")


WRAP = 1 << 32
# Where the stream is not zero, and for how many samples: on both sides of the wrap, on it, and half the way to it.
PULSES = ((0, 3), (1000, 5), (WRAP // 2 - 2, 4), (WRAP - (1 << 20) - 1, 1), (WRAP - 70000, 10), (WRAP - 4, 2),
          (WRAP - 1, 2), (WRAP + 2, 1), (WRAP + 4, 100), (WRAP + (1 << 20) - 50, 20))
PIECE = 1 << 19
TICK = 1 << 20
LENGTH = WRAP + 4 * TICK
WRAP_LINES = [
    "pipe x : int16", 'trigger edges to "edges.csv"', 'trigger ends to "ends.csv"', "trigger tick",
    'trigger any to "any.csv"', 'trigger both to "both.csv"', 'pipe times : int32 to "times.bin"',
    'pipe cut : int16 to "cut.bin"', 'pipe records : int16 to "records.bin"', 'pipe tags : int32 to "tags.bin"',
    'pipe counts : int32 to "counts.bin"', "pipe sent : int32", 'trigger back to "back.csv"',
    "TOGGLE (x, outside, -100, 100, inside, -50, 50, edges)", "TSTAMP (edges, times)", "NTH (edges, 2, ends)",
    "TOGGWT (x, edges, cut)", 'TOGGWT (x, edges, records, 1000, "FORMAT=BLOCKS SINGLE STAMPED", tags)',
    f"TGEN ({TICK}, tick)", "TOR (edges, tick, any)", "TAND (edges, tick, both, 0)",
    f"FREQUENCY (edges, {TICK}, counts)", f"TRIGSEND (edges, {TICK}, sent)", "TRIGRECV (sent, back)",
]


def pulseStream(file):
    quiet = bytes(2 * PIECE)
    for start in range(0, LENGTH, PIECE):
        inPiece = [(p, n) for p, n in PULSES if p < start + PIECE and p + n > start]
        if not inPiece:
            file.write(quiet)
            continue
        piece = samples([0]) * PIECE
        for position, length in inPiece:
            for i in range(max(position, start), min(position + length, start + PIECE)):
                piece[i - start] = 1000 + i - position
        file.write(piece)


def signed(position):
    """The low 32 bits, as int32 shows them."""
    position %= WRAP
    return position - WRAP if position >= WRAP // 2 else position


def requireEvents(bench, name, positions):
    with open(bench.at(name), encoding="ascii") as file:
        rows = file.read().splitlines()
    require(rows[1:-1] == [f"assert,{p % WRAP}" for p in positions], f"{name}: the events are wrong:\n{rows[-30:]}")


def requireWrapped(bench):
    edges = [edge for position, length in PULSES for edge in (position, position + length)]
    ticks = range(TICK - 1, LENGTH, TICK)
    requireEvents(bench, "edges.csv", edges)
    requireEvents(bench, "back.csv", edges)
    requireEvents(bench, "ends.csv", edges[1::2])
    requireEvents(bench, "any.csv", sorted({*edges, *ticks}))
    requireEvents(bench, "both.csv", sorted({*edges} & {*ticks}))
    passed = [1000 + i for _, length in PULSES for i in range(length)]
    expected = {
        "times.bin": list(map(signed, edges)), "cut.bin": passed, "records.bin": passed,
        "tags.bin": [word for position, length in PULSES for word in (length, signed(position))],
        "counts.bin": [sum(tick - TICK < edge <= tick for edge in edges) for tick in ticks],
    }
    for name, numbers in expected.items():
        code = "h" if name in ("cut.bin", "records.bin") else "i"
        require(bench.read(name, code).tolist() == numbers, f"{name} is not what it must be")


def pastTheWrap(bench):
    rows = []

    def measured(what, run, total):
        rows.append((what, count(total), f"{run.seconds:.1f}", f"{run.seconds / total * 1e9:.2f}",
                     f"{run.megabytes:.1f}"))

    repeats, slow = 1_048_573, WRAP // 1_048_573 + 60
    bench.note("REPLICATE, TOGGLE and TSTAMP past position 2^32")
    bench.put("slow.bin", samples(i % 2 * 1000 + i % 7 for i in range(slow)).tobytes())
    run = bench.run(['pipe slow : int16 from "slow.bin"', "pipe x : int16 capacity 65536", "trigger edges",
                     'pipe times : int32 to "times.bin"', f"REPLICATE (slow, {repeats}, x)",
                     "TOGGLE (x, outside, -100, 100, inside, -50, 50, edges)", "TSTAMP (edges, times)"])
    require(bench.read("times.bin", "i").tolist() == [signed(i * repeats) for i in range(1, slow)],
            "the edges of the repeated samples are wrong")
    measured("REPLICATE, TOGGLE, TSTAMP", run, slow * repeats)
    if not bench.quick:
        bench.note("eleven trigger commands past position 2^32")
        run = bench.run(WRAP_LINES, "--in", "x=-", feed=pulseStream)
        requireWrapped(bench)
        measured("eleven trigger commands on standard input", run, LENGTH)
    return table(("procedure", "samples", "s", "ns a sample", "peak, MB"), rows)


def growth(bench):
    """CMAG waits for a mean of more samples than memory holds, and its other input must be kept meanwhile."""
    limit = "16M" if bench.quick else "256M"
    bench.note(f"a pipe that grows to {limit}")
    lines = ["pipe x : int16", "pipe mean : int16", 'pipe y : int16 to "y.bin"', "AVERAGE (x, 2147483647, mean)",
             "CMAG (x, mean, y)"]
    bench.put("x.bin", bytes(1 << (25 if bench.quick else 28)))
    run = bench.run(lines, "--in", "x=x.bin", "--memory", limit, expected=1)
    os.remove(bench.at("x.bin"))
    said = run.said.splitlines()
    require("the pipe `x` needs more than" in said[0] and "--memory" in run.said, f"another message:\n{run.said}")
    require(not os.path.exists(bench.at("y.bin")), "a run that failed left an output")
    return f"With `--memory {limit}`, after {run.seconds:.2f} s and {run.megabytes:.0f} MB:\n\n    {said[0]}"
