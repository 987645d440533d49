#!/usr/bin/env python3
"""Designs the twelve low-pass prototypes of FIRLOWPASS.

    design_lowpass.py           writes src/fir/fir_lowpass_taps.h and docs/images/firlowpass.png
    design_lowpass.py --check   designs anew and compares with the taps in the tree

Each prototype is symmetric, with a given number of taps, first tap and centre tap and a DC gain of 1. The taps between
are those with the smallest stop-band ripple under a bound on the pass-band ripple: a linear programme, since the response
of a symmetric filter is linear in its taps. Frequencies below are parts of the new Nyquist frequency, half the output
rate; with the half-amplitude point held near its half by the centre tap, these edges are what the lengths reach with a
stop band below -100 dB and a response that falls all the way between them. Needs NumPy, SciPy and Matplotlib.
"""

import re
import sys
from pathlib import Path

import numpy as np
from scipy.optimize import linprog

ROOT = Path(__file__).resolve().parent.parent
TAPS_FILE = ROOT / "src/fir/fir_lowpass_taps.h"
PLOT_FILE = ROOT / "docs/images/firlowpass.png"

# decim: taps, centre tap, first tap
PROTOTYPES = {
    1: (39, 0.682498040709295, 1.232076631e-06),
    2: (53, 0.25555583366524, 2.184453801e-05),
    3: (79, 0.16957990003142, 1.10227e-05),
    4: (105, 0.1271831961059895, 8.266487627086488e-06),
    5: (129, 0.1011461093378276, 7.069672599971786e-06),
    6: (155, 0.08429968372115453, 6.26441235057725e-06),
    7: (181, 0.07226329587840315, 5.723492937877277e-06),
    8: (207, 0.0633283334769732, 5.525606303915875e-06),
    9: (233, 0.05629333748460898, 5.222410263342617e-06),
    10: (259, 0.050664981531802, 4.989988343644666e-06),
    11: (283, 0.04597879108051486, 5.019988021136344e-06),
    12: (309, 0.04215688135742333, 4.863389595427877e-06),
}
PASS_RIPPLE_DB = 0.02
GRID_DENSITY = 12  # frequencies for each tap of a half
SCALE = 1e3        # of the unknowns, so that the solver's absolute tolerance lies far below the stop band


def edges(decim):
    """End of the pass band and start of the stop band, in cycles a sample."""
    nyquist = 0.5 / decim
    return (0.58 * nyquist, 0.84 * nyquist) if decim == 1 else (0.35 * nyquist, 0.75 * nyquist)


def grid(low, high, half):
    return np.linspace(low, high, int(GRID_DENSITY * half * (high - low) / 0.5) + 8)


def design(decim):
    """The taps from the first to the centre."""
    length, centre, first = PROTOTYPES[decim]
    half = (length - 1) // 2
    pass_end, stop_start = edges(decim)
    ripple = 10 ** (PASS_RIPPLE_DB / 20) - 1
    distance = np.arange(1, half)  # of the free taps from the centre

    def band(low, high, upper, lower, ripple_column):
        """Rows that hold the response between `lower` and `upper`, each widened by the unknown ripple or by nothing."""
        f = grid(low, high, half)
        free = 2 * np.cos(2 * np.pi * np.outer(f, distance))
        known = centre + 2 * first * np.cos(2 * np.pi * f * half)
        column = np.full((len(f), 1), -ripple_column)
        return (np.vstack([np.hstack([free, column]), np.hstack([-free, column])]),
                np.concatenate([upper - known, known - lower]))

    rows, bounds = zip(band(0, pass_end, 1 + ripple, 1 - ripple, 0.0),
                       band(pass_end, stop_start, 1 + ripple, -ripple, 0.0),
                       band(stop_start, 0.5, 0.0, 0.0, 1.0))
    found = linprog(c=np.append(np.zeros(half - 1), 1.0), A_ub=np.vstack(rows), b_ub=SCALE * np.concatenate(bounds),
                    A_eq=np.append(np.full(half - 1, 2.0), 0.0)[None], b_eq=[SCALE * (1 - centre - 2 * first)],
                    bounds=[(None, None)] * half, method="highs-ipm",
                    options={"primal_feasibility_tolerance": 1e-10, "dual_feasibility_tolerance": 1e-10})
    if found.status != 0:
        sys.exit(f"decim {decim}: {found.message}")
    return np.concatenate([[first], found.x[-2::-1] / SCALE, [centre]])


def mirrored(half):
    return np.concatenate([half, half[-2::-1]])


def response(taps, f):
    distance = np.arange(len(taps)) - len(taps) // 2
    return np.cos(2 * np.pi * np.outer(f, distance)) @ taps


def decibels(x):
    return 20 * np.log10(np.maximum(np.abs(x), 1e-12))


def measures(decim, taps):
    """Pass-band ripple and stop-band level in dB, and where the response falls to -3 dB and -6 dB."""
    nyquist = 0.5 / decim
    pass_end, stop_start = edges(decim)
    ripple = np.max(np.abs(decibels(response(taps, np.linspace(0, pass_end, 4001)))))
    stop = np.max(decibels(response(taps, np.linspace(stop_start, 0.5, 20001))))
    f = np.linspace(pass_end, stop_start, 20001)
    fall = decibels(response(taps, f))
    return ripple, stop, f[np.argmax(fall < -3)] / nyquist, f[np.argmax(fall < -6)] / nyquist


def text_of(halves):
    lines = ["// The twelve low-pass prototypes of FIRLOWPASS: of each, the taps from the first to the centre; the others mirror",
             "// them. Written by tools/design_lowpass.py.", "#pragma once", "", "namespace zcmds {", "",
             "// clang-format off"]
    for decim, half in halves.items():
        lines.append(f"inline constexpr double lowpassHalf{decim}[] = {{")
        numbers = [repr(float(tap)) + "," for tap in half]
        lines += ["    " + " ".join(numbers[i:i + 4]) for i in range(0, len(numbers), 4)]
        lines.append("};")
    return "\n".join(lines + ["// clang-format on", "", "}  // namespace zcmds", ""])


def stored_halves():
    text = TAPS_FILE.read_text()
    found = re.findall(r"lowpassHalf(\d+)\[\] = \{([^}]*)\}", text)
    return {int(decim): np.array([float(x) for x in numbers.split(",") if x.strip()]) for decim, numbers in found}


def check(halves):
    """The solver's last digits may differ from machine to machine; the responses may not."""
    stored = stored_halves()
    for decim, half in halves.items():
        if decim not in stored or len(stored[decim]) != len(half) or np.max(np.abs(stored[decim] - half)) > 1e-9:
            sys.exit(f"{TAPS_FILE.name}: the taps for decim {decim} are not what this script designs")
        if stored[decim][0] != half[0] or stored[decim][-1] != half[-1]:
            sys.exit(f"{TAPS_FILE.name}: first or centre tap for decim {decim} is not as given")
    print(f"{TAPS_FILE.name} is what this script designs")


def plot(halves):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, (whole, near) = plt.subplots(2, 1, figsize=(9, 8))
    colours = plt.cm.viridis(np.linspace(0, 0.9, len(halves)))
    for (decim, half), colour in zip(halves.items(), colours):
        taps = mirrored(half)
        f = np.linspace(0, 0.5, 6001)
        whole.plot(f, decibels(response(taps, f)), color=colour, linewidth=0.6, label=f"decim {decim}")
        part = np.linspace(0, 1, 1001)
        near.plot(part, decibels(response(taps, part * 0.5 / decim)), color=colour, linewidth=0.9)
    whole.set(xlim=(0, 0.5), ylim=(-140, 5), xlabel="frequency, cycles an input sample", ylabel="dB")
    whole.legend(ncol=2, fontsize=8, loc="upper right")
    near.set(xlim=(0, 1), ylim=(-140, 5), xlabel="frequency, parts of the new Nyquist frequency", ylabel="dB")
    for axes in (whole, near):
        axes.grid(alpha=0.3)
    figure.tight_layout()
    PLOT_FILE.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(PLOT_FILE, dpi=80)


def main():
    halves = {decim: design(decim) for decim in PROTOTYPES}
    if sys.argv[1:] == ["--check"]:
        return check(halves)
    if sys.argv[1:]:
        sys.exit(__doc__)
    TAPS_FILE.write_text(text_of(halves))
    plot(halves)
    print("decim  taps  pass to  ripple dB  -3 dB at  -6 dB at  stop from  stop dB  single dB      sum - 1")
    for decim, half in halves.items():
        taps = mirrored(half)
        pass_end, stop_start = (2 * decim * edge for edge in edges(decim))
        ripple, stop, three, six = measures(decim, taps)
        single = measures(decim, taps.astype(np.float32).astype(float))[1]
        print(f"{decim:5} {len(taps):5} {pass_end:8.2f} {ripple:10.4f} {three:9.3f} {six:9.3f} {stop_start:10.2f} "
              f"{stop:8.1f} {single:10.1f} {taps.sum() - 1:12.1e}")


if __name__ == "__main__":
    main()
