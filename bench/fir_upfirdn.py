#!/usr/bin/env python3
"""SciPy's upfirdn on the cases of fir_bench.cpp: nanoseconds an input sample, the best of seven runs."""

import time

import numpy as np
from scipy.signal import upfirdn

SAMPLES = 1 << 20

for taps, decimation in ((39, 1), (129, 5), (309, 12)):
    for channels in (1, 8):
        for name, kind in (("int16", np.int16), ("float", np.float32)):
            source = (np.arange(SAMPLES) * 7919 % 65536 - 32768).astype(kind).reshape(-1, channels)
            coefficients = np.full(taps, 1 / taps, np.float32)
            times = []
            for _ in range(7):
                start = time.perf_counter()
                result = upfirdn(coefficients, source.astype(np.float32), 1, decimation, axis=0)
                result = np.clip(result, -32768, 32767).astype(kind) if kind is np.int16 else result
                times.append(time.perf_counter() - start)
            print(f"upfirdn_{name}_{channels}x{taps}by{decimation} {min(times) / SAMPLES * 1e9:8.3f} ns")
