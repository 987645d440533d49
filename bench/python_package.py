"""The Python package beside NumPy and the tool, in turns on one core; a table in Markdown. Without --quick for the record."""

import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
import zepl

TOOL = Path(zepl.__file__).resolve().parents[2] / "zepl"
TURNS = 5 if "--quick" in sys.argv else 25


def seconds(call):
    began = time.perf_counter()
    call()
    return time.perf_counter() - began


def in_turns(ours, peer, repeat=1):
    """Medians of both in seconds, and of the ratios of the turns."""
    pairs = []
    for _ in range(TURNS + 1):
        pairs.append((seconds(lambda: [ours() for _ in range(repeat)]) / repeat, seconds(lambda: [peer() for _ in range(repeat)]) / repeat))
    pairs = pairs[1:]
    return (*map(statistics.median, zip(*pairs)), statistics.median(a / b for a, b in pairs))


def saturating(x):
    return np.clip(x.astype(np.int32) + 5, -32768, 32767).astype(np.int16)


# That of flow_graph_bench.cpp.
GRAPH = """vector taps : float from "taps.npy"
pipe x : int16 from "x.npy"
pipe scaled : int16
pipe low : float
pipe lines : float to "lines.npy"
SCALE (x, 3, 30, 7, scaled)
FIRFILTER (scaled, 1, taps, 0, 1.0, 5, 128, low)
FFT (5, 10, 1, low, lines)
"""


def flow_graph(folder):
    """The run from array to array, and the tool from file to file in memory."""
    x = (np.arange(20_000_000) * 83 % 8192 - 4096).astype(np.int16)
    taps = ((0.5 - 0.5 * np.cos(2 * np.pi * (np.arange(129) + 0.5) / 129)) / 64.5).astype(np.float32)
    np.save(folder / "x.npy", x)
    np.save(folder / "taps.npy", taps)
    (folder / "graph.zp").write_text(GRAPH)
    ours = lambda: zepl.run(folder / "graph.zp", {"x": x})
    tool = lambda: subprocess.run([TOOL, "run", "--quiet", "--no-sync", folder / "graph.zp"], check=True)
    return ours, tool


def main():
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    long, short = np.zeros(10_000_000, np.int16), np.zeros(1000, np.int16)
    long[:] = np.arange(10_000_000) % 60000 - 30000
    rows = [
        ("zepl.offset(x, 5), 10 million int16", "NumPy, saturating", 0.5, *in_turns(lambda: zepl.offset(long, 5), lambda: saturating(long))),
        ("zepl.offset(x, 5), 1000 int16", "NumPy, saturating", None, *in_turns(lambda: zepl.offset(short, 5), lambda: saturating(short), 200)),
    ]
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        rows.append(("zepl.run of the flow graph, 20 million int16", "the tool, from file to file", 1.05, *in_turns(*flow_graph(Path(folder)))))
    print("| call | beside | µs | µs | ratio | at most |\n|---|---|---|---|---|---|")
    failed = False
    for name, peer, limit, ours, theirs, ratio in rows:
        above = limit is not None and ratio > limit
        failed |= above
        print(f"| {name} | {peer} | {ours * 1e6:.1f} | {theirs * 1e6:.1f} | {ratio:.2f}{' ABOVE' if above else ''} | {limit or ''} |")
    overhead = (rows[1][3] - rows[1][4]) * 1e6
    failed |= overhead > 30
    print(f"\nOf a call on 1000 samples, {overhead:.1f} µs are more than NumPy takes (at most 30).")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
