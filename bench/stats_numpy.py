#!/usr/bin/env python3
"""Prints what NumPy takes for each command's statistics, in nanoseconds a sample: the peer of bench/stats_bench.cpp, over
the same recording in the same blocks. Its arithmetic is not the commands' to the bit."""
import time

import numpy

SAMPLES = 1 << 20
BLOCK = 100  # also the window and the block length
REPS = 10  # blocks that are averaged


def moving_sums(x, total):
    sums = numpy.cumsum(x, dtype=total)
    sums[BLOCK:] -= sums[:-BLOCK].copy()
    return sums


# Each of the blocks, one a row, of the whole stream, and of the type in which sums are formed.
STATISTICS = {
    "AVERAGE": lambda rows, x, total: rows.mean(axis=1, dtype=total),
    "HIGH": lambda rows, x, total: rows.max(axis=1),
    "LOW": lambda rows, x, total: rows.min(axis=1),
    "RMS": lambda rows, x, total: numpy.sqrt(numpy.square(rows, dtype=total).mean(axis=1)),
    "STDDEV": lambda rows, x, total: rows.std(axis=1),
    "VARIANCE": lambda rows, x, total: rows.var(axis=1),
    "BAVERAGE": lambda rows, x, total: rows[: len(rows) // REPS * REPS].reshape(-1, REPS, BLOCK).mean(axis=1),
    "BINTEGRATE": lambda rows, x, total: rows.sum(axis=1, dtype=total),
    "INTEGRATE": lambda rows, x, total: numpy.cumsum(x, dtype=total),
    "RAVERAGE": lambda rows, x, total: moving_sums(x, total) / BLOCK,
    "RSUM": lambda rows, x, total: moving_sums(x, total),
}


def nanoseconds_a_sample(statistic, elements):
    rows = elements[: SAMPLES // BLOCK * BLOCK].reshape(-1, BLOCK)
    total = numpy.int64 if elements.dtype.kind == "i" else numpy.float64
    times = []
    for _ in range(11):
        start = time.perf_counter()
        statistic(rows, elements, total)
        times.append(time.perf_counter() - start)
    return sorted(times)[len(times) // 2] * 1e9 / SAMPLES


def main():
    recording = (numpy.arange(SAMPLES) * 7919 % 65536 - 32768).astype(numpy.int16)
    types = [numpy.int16, numpy.int32, numpy.float32, numpy.float64]
    print(f"{'command':12}" + "".join(f"{numpy.dtype(t).name:>10}" for t in types))
    for name, statistic in STATISTICS.items():
        row = [nanoseconds_a_sample(statistic, recording.astype(t)) for t in types]
        print(f"{name:12}" + "".join(f"{time:10.3f}" for time in row))


if __name__ == "__main__":
    main()
