#!/usr/bin/python3
"""Makes the table of reference taps for tests/runtime/expressions_test.cpp by SciPy's firwin (python3-scipy)."""

from scipy.signal import firwin, kaiser_beta

cases = [  # call, taps, edges, passes zero, attenuation
    ("lowpass(9, 0.1)", 9, [0.1], True, 80),
    ("lowpass(8, 50 / 360, 40)", 8, [50 / 360], True, 40),
    ("highpass(7, 0.2)", 7, [0.2], False, 80),
    ("bandpass(8, 0.1, 0.3)", 8, [0.1, 0.3], False, 80),
    ("bandstop(9, 0.1, 0.2, 21)", 9, [0.1, 0.2], True, 21),
]
for call, taps, edges, passes_zero, attenuation in cases:
    values = firwin(taps, edges, window=("kaiser", kaiser_beta(attenuation)), pass_zero=passes_zero, fs=1)
    print("        {%s, {%s}}," % ('"%s"' % call, ", ".join(repr(float(v)) for v in values)))
