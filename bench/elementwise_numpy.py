#!/usr/bin/env python3
"""Prints what NumPy takes for the arithmetic of the element-wise commands, in nanoseconds an element, over the recording
that zepl_bench uses: compare with the commands' own times there. NumPy has no saturating integer arithmetic, so the
integers are widened and clamped, as one would write it."""

import timeit

import numpy as np

COUNT = 1 << 20
RECORDING = np.arange(COUNT, dtype=np.int64) * 7919 % 65536 - 32768


def held(x, kind):
    if kind.kind != "i":
        return x.astype(kind, copy=False)
    limits = np.iinfo(kind)
    return np.clip(x, limits.min, limits.max).astype(kind)


def wide(x):
    return x.astype(np.int64 if x.dtype == np.int32 else np.int32) if x.dtype.kind == "i" else x


def quotient(x, by):
    """Toward zero: NumPy's own quotient is rounded down."""
    return np.sign(x) * (np.abs(x) // by) if x.dtype.kind == "i" else x / by


def level(x):
    return 200 * np.log10(np.maximum(np.abs(x.astype(np.float64)), 1e-38) / 1000)


COMMANDS = {
    "ABS": lambda x: held(np.abs(wide(x)), x.dtype),
    "DELTA": lambda x: held(np.diff(wide(x)), x.dtype),
    "OFFSET": lambda x: held(wide(x) + x.dtype.type(3), x.dtype),
    "SCALE": lambda x: held(quotient((x.astype(np.int64) + 3 if x.dtype.kind == "i" else x + x.dtype.type(3)) * 30, 7), x.dtype),
    "SQRT": lambda x: np.sqrt(np.maximum(x, 0)).astype(x.dtype),
    "BOUND": lambda x: np.clip(x, -1000, 1000),
    "RANGE": lambda x: x[(x >= 0) & (x <= 32767)],
    "DECIBEL": lambda x: level(x).astype(x.dtype),
    "CMAG": lambda x: np.hypot(x, x).astype(x.dtype),
    "CANGLE": lambda x: np.arctan2(x, x).astype(x.dtype),
}


def main():
    kinds = [np.dtype(name) for name in ("int16", "int32", "float32", "float64")]
    print(f"{'ns an element':<14}" + "".join(f"{kind.name:>10}" for kind in kinds))
    for name, work in COMMANDS.items():
        row = f"{name:<14}"
        for kind in kinds:
            x = RECORDING.astype(kind)
            row += f"{min(timeit.repeat(lambda: work(x), number=3, repeat=5)) / 3 / COUNT * 1e9:>10.2f}"
        print(row)


main()
