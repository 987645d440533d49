"""The same filter and the same statistics by zepl and by SciPy, and how far they differ."""

import numpy as np
import zepl
from scipy import signal

RATE = 360
x = np.random.default_rng(1).standard_normal(100_000)
taps = signal.firwin(129, 40, fs=RATE)

p = zepl.Procedure(rate=RATE)
low = p.expression("low", float, " + ".join(f"{tap!r} * x[-{k}]" if k else f"{tap!r} * x" for k, tap in enumerate(taps.tolist())))
source = p.pipe("x", np.float64, x)
filtered = p.run()["low"]
expected = signal.lfilter(taps, 1, x)
print(f"filter: {len(filtered)} samples, at most {abs(filtered - expected).max():.1e} apart")

levels = zepl.rms(x, 1000)
expected = np.sqrt((x.reshape(-1, 1000) ** 2).mean(axis=1))
print(f"rms: {len(levels)} blocks, at most {abs(levels - expected).max():.1e} apart")
assert np.allclose(levels, expected) and np.allclose(filtered, signal.lfilter(taps, 1, x))
