"""The heart rate of an electrocardiogram over time, by the procedure heart_rate.zp, with a plot: python3 heart_rate.py [FILE.png]"""

import sys
from pathlib import Path

import numpy as np
import zepl

FOLDER = Path(__file__).resolve().parent.parent
RATE = 360

result = zepl.run(FOLDER / "heart_rate.zp", collect=["ecg", "activity"])
times = result["times"] / RATE
rate = 60 / np.diff(times)
print(f"{len(times)} beats, {np.median(rate):.1f} a minute in the middle; {result['counts'].tolist()} in each minute")

if len(sys.argv) > 1:
    from matplotlib.figure import Figure

    figure = Figure(figsize=(9, 5))
    top, bottom = figure.subplots(2)
    shown = slice(0, 10 * RATE)
    top.plot(np.arange(10 * RATE) / RATE, result["ecg"][shown], linewidth=0.8)
    top.vlines(times[times < 10], *top.get_ylim(), linewidth=0.6, color="tab:red")
    top.set(xlabel="s", ylabel="counts")
    bottom.plot(times[1:], rate, linewidth=0.8)
    bottom.set(xlabel="s", ylabel="beats a minute", ylim=(0, 200))
    figure.savefig(sys.argv[1])
