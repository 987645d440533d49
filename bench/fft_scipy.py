# Prints the nanoseconds that SciPy's transform (pocketfft) takes for one of the given length, out of a batch, so that the
# call from Python hardly counts.
import sys
import time

import numpy
import scipy.fft

length = int(sys.argv[1])
rows = max(1, 200000 // length)
data = numpy.random.default_rng(1).standard_normal((rows, length)) + 1j
scipy.fft.fft(data, axis=1)
start = time.perf_counter()
repetitions = 10
for _ in range(repetitions):
    scipy.fft.fft(data, axis=1)
print((time.perf_counter() - start) / (repetitions * rows) * 1e9)
