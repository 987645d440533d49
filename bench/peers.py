#!/usr/bin/env python3
"""The peers in Python, for zepl_bench: a line with the name of a piece of work on standard input is answered with its
seconds of processor time (of all threads) and its number of items; "libraries" with the libraries that are there.

NumPy has no saturating integer arithmetic, so that integers are widened and clamped, as one would write it; its statistics
are the commands' in substance, not to the bit."""

import functools
import importlib.util
import math
import os
import sys
import time

LIBRARIES = {"NumPy": "numpy", "SciPy": "scipy", "GNU Radio": "gnuradio"}
if importlib.util.find_spec("numpy"):
    import numpy as np

    np.seterr(all="ignore")

SAMPLES = 1 << 20
BLOCK = 100  # of the statistics: block, window and block length
REPS = 10  # blocks that are averaged
KINDS = {"int16": "int16", "int32": "int32", "float": "float32", "double": "float64"}


@functools.lru_cache(None)
def recording(kind):
    return (np.arange(SAMPLES) * 7919 % 65536 - 32768).astype(KINDS[kind])


def held(x, kind):
    if kind.kind != "i":
        return x.astype(kind, copy=False)
    limits = np.iinfo(kind)
    return np.clip(x, limits.min, limits.max).astype(kind)


def wide(x):
    return x.astype(np.int64 if x.dtype == np.int32 else np.int32) if x.dtype.kind == "i" else x


def scaled(x):
    """The quotient toward zero: NumPy's own is rounded down."""
    if x.dtype.kind != "i":
        return (x + x.dtype.type(3)) * 30 / 7
    product = (x.astype(np.int64) + 3) * 30
    return held(np.sign(product) * (np.abs(product) // 7), x.dtype)


def level(x):
    return 200 * np.log10(np.maximum(np.abs(x.astype(np.float64)), 1e-38) / 1000)


ELEMENTWISE = {
    "ABS": lambda x: held(np.abs(wide(x)), x.dtype),
    "DELTA": lambda x: held(np.diff(wide(x)), x.dtype),
    "OFFSET": lambda x: held(wide(x) + x.dtype.type(3), x.dtype),
    "SCALE": scaled,
    "SQRT": lambda x: np.sqrt(np.maximum(x, 0)).astype(x.dtype),
    "BOUND": lambda x: np.clip(x, -1000, 1000),
    "RANGE": lambda x: x[(x >= 0) & (x <= 32767)],
    "DECIBEL": lambda x: level(x).astype(x.dtype),
    "CMAG": lambda x: np.hypot(x, x).astype(x.dtype),
    "CANGLE": lambda x: np.arctan2(x, x).astype(x.dtype),
    "POLAR": lambda x: (np.hypot(x, x).astype(x.dtype), np.arctan2(x, x).astype(x.dtype)),
}

# In double, as the commands compute them, and rounded once.
IN_DOUBLE = {
    "CANGLE": lambda x: np.arctan2(x, x, dtype=np.float64).astype(x.dtype),
}


def transfer(x):
    quotient = (x + 1j * x) / (x + 1j * x)
    return 20 * np.log10(np.abs(quotient)), np.angle(quotient)


def transfer_from_power(x):
    return 20 * np.log10(np.hypot(x, x) / x), np.arctan2(x, x)


def wave(shape, x):
    index = np.arange(SAMPLES, dtype=np.float64)
    return (1000 * shape(2 * np.pi / 314.159 * index)).astype(x.dtype)


def chirp(x, omega):
    way = np.arange(SAMPLES, dtype=np.float64) / (SAMPLES - 1)
    return (1000 * np.cos(np.cumsum(omega(way)))).astype(x.dtype)


def polar_spectrum(x):
    spectrum = np.fft.rfft(x.reshape(-1, 1024))[:, :512] / 1024
    return np.abs(spectrum).astype(x.dtype), np.angle(spectrum).astype(x.dtype)


LOW, HIGH = math.tau / 100, math.tau / 10
MATHEMATICAL = {
    "TFUNCTION1": transfer,
    "TFUNCTION2": transfer_from_power,
    "SINEWAVE_direct": lambda x: wave(np.sin, x),
    "COSINEWAVE_direct": lambda x: wave(np.cos, x),
    "CHIRP_LIN": lambda x: chirp(x, lambda way: (1 - way) * LOW + way * HIGH),
    "CHIRP_LOG": lambda x: chirp(x, lambda way: LOW * (HIGH / LOW) ** way),
    "FFT_polar": polar_spectrum,
}


def moving_sums(x, total):
    sums = np.cumsum(x, dtype=total)
    sums[BLOCK:] -= sums[:-BLOCK].copy()
    return sums


# Each of the blocks, one a row, of the whole stream, and of the type in which sums are formed.
STATISTICS = {
    "AVERAGE": lambda rows, x, total: rows.mean(axis=1, dtype=total),
    "HIGH": lambda rows, x, total: rows.max(axis=1),
    "LOW": lambda rows, x, total: rows.min(axis=1),
    "RMS": lambda rows, x, total: np.sqrt(np.square(rows, dtype=total).mean(axis=1)),
    "STDDEV": lambda rows, x, total: rows.std(axis=1),
    "VARIANCE": lambda rows, x, total: rows.var(axis=1),
    "BAVERAGE": lambda rows, x, total: rows[: len(rows) // REPS * REPS].reshape(-1, REPS, BLOCK).mean(axis=1),
    "BINTEGRATE": lambda rows, x, total: rows.sum(axis=1, dtype=total),
    "INTEGRATE": lambda rows, x, total: np.cumsum(x, dtype=total),
    "RAVERAGE": lambda rows, x, total: moving_sums(x, total) / BLOCK,
    "RSUM": lambda rows, x, total: moving_sums(x, total),
}


def table_work():
    """Four columns of doubles as CSV, with the digits that read back."""
    rows = 1 << 17
    table = np.column_stack([recording("double")[:rows]] * 4)
    return lambda: np.savetxt(os.devnull, table, delimiter=",", fmt="%.17g"), table.size


DEFINED = {
    "difference": lambda a, b: a - b,
    "scaledSum": lambda a, b: a * 2.5 + b,
    "magnitude": lambda a, b: np.sqrt(a * a + b * b),
    "threshold": lambda a, b: np.where(np.abs(a) > 1000, 1.0, 0.0),
}


def numpy_work(name, in_double=False):
    if name == "tableOfDoubles":
        return table_work()
    if name.startswith("defined_"):
        return functools.partial(DEFINED[name.removeprefix("defined_")], recording("double"), recording("double")), SAMPLES
    command, kind = name.rsplit("_", 1)
    x = recording(kind)
    if command in MATHEMATICAL:
        return functools.partial(MATHEMATICAL[command], x), SAMPLES
    if command in ELEMENTWISE:
        return functools.partial((IN_DOUBLE if in_double else ELEMENTWISE)[command], x), SAMPLES
    rows = x[: SAMPLES // BLOCK * BLOCK].reshape(-1, BLOCK)
    total = np.int64 if x.dtype.kind == "i" else np.float64
    return functools.partial(STATISTICS[command], rows, x, total), SAMPLES


def transform_work(length):
    """A batch of transforms, so that the call from Python hardly counts."""
    import scipy.fft

    rows = max(1, 200000 // length)
    data = np.random.default_rng(1).standard_normal((rows, length)) + 1j
    return lambda: scipy.fft.fft(data, axis=1), rows


def filter_work(kind, case):
    from scipy.signal import upfirdn

    channels, taps, decimation = (int(x) for x in case.replace("by", "x").split("x"))
    source = recording(kind).reshape(-1, channels)
    coefficients = np.full(taps, 1 / taps, np.float32)

    def run():
        result = upfirdn(coefficients, source.astype(np.float32), 1, decimation, axis=0)
        return held(np.clip(result, -32768, 32767), source.dtype) if kind == "int16" else result

    return run, SAMPLES


def scipy_work(name):
    if name.startswith("flow_graph"):
        import flow_graph_peers

        return flow_graph_peers.scipy_graph()
    if name == "defined_biquad":
        from scipy.signal import lfilter

        return functools.partial(lfilter, [0.2, -0.3, 0.1], [1, -1.2, 0.5], recording("double")), SAMPLES
    command, *rest = name.split("_")
    return transform_work(int(rest[0])) if command == "transform" else filter_work(*rest)


def gnu_radio_work(_name):
    import flow_graph_peers

    return flow_graph_peers.gnu_radio_graph()


WORK = {"NumPy": numpy_work, "NumPy, in double": functools.partial(numpy_work, in_double=True), "SciPy": scipy_work, "GNU Radio": gnu_radio_work}


@functools.lru_cache(None)
def work(request):
    library, name = request.split("_", 1)
    return WORK[library](name)


def answer(request):
    if request == "libraries":
        return ",".join(name for name, module in LIBRARIES.items() if importlib.util.find_spec(module))
    if request == "magnitudes":
        import flow_graph_peers

        return " ".join(map(repr, flow_graph_peers.first_magnitudes()))
    run, items = work(request)
    start = time.process_time()
    run()
    return f"{time.process_time() - start:.9f} {items}"


def main():
    # Libraries write messages to standard output; they go where errors go.
    answers = os.fdopen(os.dup(1), "w", buffering=1)
    os.dup2(2, 1)
    for line in sys.stdin:
        try:
            print(answer(line.strip()), file=answers)
        except Exception as error:  # The benchmark that asked shows it.
            print(f"{type(error).__name__}: {str(error).splitlines()[0] if str(error) else ''}", file=answers)


if __name__ == "__main__":
    main()
