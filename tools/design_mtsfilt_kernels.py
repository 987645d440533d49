#!/usr/bin/env python3
"""Designs the kernels of MTSFILT: 256 rows of 16 taps, the samples of one smooth prototype low-pass.

    tools/design_mtsfilt_kernels.py            writes src/fir/mtsfilt_kernels.cpp and docs/images/mtsfilt_kernels.png
    tools/design_mtsfilt_kernels.py --check    exit status 1 if the kernels' file differs from what is designed

Tap k of row r is the prototype at the time k - 7.5 - (r - 127.5) / 256, so a higher row delays by more. Six rows are
given. They hold the prototype at every quarter of a sample, with its slope at the whole samples, while it has next to no
energy above 0.8 of the sampling rate: so they determine it but for their rounding. Of all splines that round to the given
taps, the one with the least energy in the stop band is taken, higher frequencies counting more. The other rows are rounded
so that each sums to 32768: a constant then passes them unchanged. Needs NumPy and SciPy, and Matplotlib for the plot.
"""
import argparse
import pathlib
import sys

import numpy as np
from scipy.interpolate import BSpline
from scipy.optimize import lsq_linear

ROOT = pathlib.Path(__file__).resolve().parent.parent
DATA = ROOT / "src/fir/mtsfilt_kernels.cpp"
PLOT = ROOT / "docs/images/mtsfilt_kernels.png"

ROWS, TAPS, UNITY = 256, 16, 32768
GIVEN = {
    0: [-16, 26, 114, -667, 1811, -3360, 4716, 27437, 4821, -3387, 1814, -664, 112, 27, -16, 0],
    1: [-15, 25, 117, -669, 1805, -3329, 4608, 27436, 4930, -3418, 1819, -662, 110, 28, -16, 0],
    64: [-4, -18, 189, -622, 1175, -1177, -1113, 25362, 12369, -4777, 1755, -350, -89, 97, -29, 0],
    128: [0, -33, 166, -370, 320, 737, -4279, 19785, 19887, -4248, 712, 332, -373, 166, -33, 0],
    192: [0, -29, 96, -85, -359, 1766, -4772, 12252, 25420, -1040, -1210, 1185, -623, 189, -17, -4],
    255: [0, -16, 27, 112, -666, 1817, -3391, 4824, 27437, 4713, -3356, 1808, -666, 114, 26, -16],
}

DEGREE = 5
KNOTS_PER_SAMPLE = 8  # the spline holds frequencies well past the stop band's edge
STOP_EDGE = 0.62      # of the sampling rate; the given rows' response is below -70 dB from here on
STOP_END = 6.0        # past what the spline holds
ROUNDING = 0.499      # how far the prototype may lie from a given tap: just less than rounding takes away


def times(rows):
    """The prototype's times of the taps of these rows, one row a line, in samples from its centre."""
    return np.arange(TAPS)[None, :] - 7.5 - (np.asarray(rows)[:, None] - 127.5) / ROWS


def spline_values(at):
    """The spline's basis functions at these times, one a column."""
    inner = np.linspace(-8, 8, 16 * KNOTS_PER_SAMPLE + 1)
    knots = np.concatenate([[-8] * DEGREE, inner, [8] * DEGREE])
    return BSpline.design_matrix(np.clip(at, -8, 8), knots, DEGREE).toarray()


def prototype():
    """The spline's coefficients, in units of a tap."""
    given = np.concatenate([GIVEN[r] for r in GIVEN]).astype(float)
    at_given = spline_values(times(list(GIVEN)).ravel())
    fine = (np.arange(16 * 64) + 0.5) / 64 - 8
    frequency = np.arange(STOP_EDGE, STOP_END, 1 / 64)
    phases = 2 * np.pi * np.outer(frequency, fine)
    weight = np.tile(frequency**4, 2)[:, None]
    stop = weight * (np.vstack([np.cos(phases), np.sin(phases)]) @ spline_values(fine)) / 64
    # Coefficients are split into what moves the given taps, within their rounding, and what leaves them as they are.
    _, _, right = np.linalg.svd(at_given)
    free = right[len(given):].T
    moved = np.linalg.pinv(at_given)
    bound = np.concatenate([np.full(len(given), ROUNDING), np.full(free.shape[1], np.inf)])
    directions = np.hstack([moved, free])
    best = lsq_linear(stop @ directions, -stop @ moved @ given, bounds=(-bound, bound), method="bvls", tol=1e-13)
    return moved @ given + directions @ best.x


def rounded_to_unity(values):
    """The nearest integers, where need be but for the taps nearest to a tie, so that they sum to unity."""
    taps = np.rint(values).astype(int)
    excess = taps.sum() - UNITY
    nearest_ties = np.argsort(np.sign(excess) * (values - taps), kind="stable")
    taps[nearest_ties[:abs(excess)]] -= np.sign(excess)
    return taps


def design():
    values = (spline_values(times(range(ROWS)).ravel()) @ prototype()).reshape(ROWS, TAPS)
    for row, taps in GIVEN.items():
        assert np.rint(values[row]).astype(int).tolist() == taps, f"row {row} is not as given"
    assert abs(np.rint(values).sum(axis=1) - UNITY).max() <= 4, "the prototype's gain at frequency 0 is not flat"
    return np.array([GIVEN.get(r, rounded_to_unity(values[r])) for r in range(ROWS)])


def source_of(table):
    rows = "\n".join("    {" + ", ".join(map(str, row)) + "}," for row in table.tolist())
    return f"""// Made by tools/design_mtsfilt_kernels.py, which has the design; not to be edited.

#include "fir/mtsfilt_kernels.h"

namespace zcmds {{

// clang-format off
const MtsKernelTable mtsKernels = {{
{rows}
}};
// clang-format on

}}  // namespace zcmds
"""


def responses(table, frequency):
    """Gain and delay in samples of each row at these frequencies."""
    response = table @ np.exp(-2j * np.pi * np.outer(np.arange(TAPS), frequency)) / UNITY
    about_centre = response * np.exp(2j * np.pi * 7.5 * frequency)
    return abs(response), 7.5 - np.angle(about_centre) / (2 * np.pi * frequency)


def plot(table):
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(2, 2, figsize=(10, 7))
    shape, delays, gains, response = axes.ravel()
    at = times(range(ROWS)).ravel()
    order = np.argsort(at)
    shape.plot(at[order], table.ravel()[order], lw=1)
    shape.plot(times(list(GIVEN)).ravel(), np.concatenate(list(GIVEN.values())), ".", ms=4)
    shape.set(title="Prototype: 256 rows, the given six as dots", xlabel="samples from the centre", ylabel="tap")

    rows = np.arange(ROWS)
    frequency = np.array([0.01, 0.1, 0.2, 0.3, 0.4])
    gain, delay = responses(table, frequency)
    for i, f in enumerate(frequency):
        delays.plot(rows, (delay[:, i] - 7 - (rows + 0.5) / ROWS) * ROWS, lw=0.8, label=f"{f:g} fs")
        gains.plot(rows, (gain[:, i] / gain[:, i].mean() - 1) * 1e6, lw=0.8, label=f"{f:g} fs")
    delays.set(title="Delay less 7 + (row + 1/2) / 256", xlabel="row", ylabel="256ths of a sample", ylim=(-0.5, 0.5))
    gains.set(title="Gain against its mean over the rows", xlabel="row", ylabel="millionths", ylim=(-400, 400))
    for axis in (delays, gains):
        axis.legend(fontsize=7, ncol=5, loc="lower center")

    frequency = np.linspace(0.001, 1.5, 1500)
    fine = table.ravel()[order] @ np.exp(-2j * np.pi * np.outer(at[order], frequency)) / (UNITY * ROWS)
    response.plot(frequency, 20 * np.log10(abs(fine)), lw=1)
    response.axvline(0.5, color="grey", lw=0.5)
    response.set(title="Response of the prototype", xlabel="frequency over sampling rate", ylabel="dB", ylim=(-110, 5))
    for axis in axes.ravel():
        axis.grid(alpha=0.3)
    figure.tight_layout()
    PLOT.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(PLOT, dpi=80)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="compare the file with the design, write nothing")
    arguments = parser.parse_args()
    table = design()
    if arguments.check:
        if DATA.read_text() != source_of(table):
            sys.exit(f"{DATA.relative_to(ROOT)} is not what tools/{pathlib.Path(__file__).name} makes")
        return
    DATA.parent.mkdir(parents=True, exist_ok=True)
    DATA.write_text(source_of(table))
    plot(table)
    gain, delay = responses(table, np.array([0.01, 0.1, 0.2, 0.3, 0.4]))
    ideal = 7 + (np.arange(ROWS)[:, None] + 0.5) / ROWS
    print("row sums", table.sum(axis=1).min(), "to", table.sum(axis=1).max())
    print("greatest error of the delay, 256ths of a sample", abs(delay - ideal).max(axis=0) * ROWS)
    print("spread of the gain over the rows, millionths", np.ptp(gain, axis=0) / gain.mean(axis=0) * 1e6)


if __name__ == "__main__":
    main()
