#!/usr/bin/env python3
"""Computes what examples/gearbox.zp writes by NumPy and SciPy, from the recording, and compares.

    tests/procedures/gearbox.py FOLDER    the folder that the example has run in
"""

import pathlib
import sys
import wave

import numpy as np
from scipy.signal import lfilter

folder = pathlib.Path(sys.argv[1])
RATE, BLOCK, HALF = 5120, 1024, 2560
KEEP = 1 - 2 * np.pi * 2 / RATE


def same(name, found, wanted, tolerance):
    error = np.max(np.abs(found - wanted) / np.maximum(np.abs(wanted), 1e-6))
    print(f"{name}: {found.shape}, differs by {error:.1e}")
    if found.shape != wanted.shape or not error <= tolerance:
        sys.exit(f"{name} is not what NumPy computes")


def blocks(x, length):
    return x[: len(x) // length * length].reshape(-1, length)


with wave.open(str(folder / "data/gearbox.wav")) as file:
    counts = np.frombuffer(file.readframes(file.getnframes()), "<i2").reshape(-1, 4).T.astype(float)
accel = lfilter([0.01, -0.01], [1, -KEEP], counts)
speed = lfilter([500 / RATE, 500 / RATE], [1, -KEEP], accel)

levels = np.genfromtxt(folder / "levels.csv", delimiter=",", names=True)
same("seconds", levels["seconds"], np.arange(len(levels)) * 0.5, 0)
spectrum = np.genfromtxt(folder / "spectrum.csv", delimiter=",", names=True)
same("hertz", spectrum["hertz"], np.arange(BLOCK // 2) * RATE / BLOCK, 0)
window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(BLOCK) / BLOCK)
for k in range(4):
    for letter, signal in ("a", accel[k]), ("v", speed[k]):
        same(f"{letter}[{k + 1}]", levels[f"{letter}{k + 1}"], np.sqrt(np.mean(blocks(signal, HALF) ** 2, axis=1)), 1e-9)
    lines = np.abs(np.fft.rfft(blocks(accel[k], BLOCK) * window))[:, : BLOCK // 2] / BLOCK
    lines[:, 1:] *= np.sqrt(2)
    same(f"spectrum[{k + 1}]", spectrum[f"spectrum{k + 1}"], lines[:40].mean(axis=0), 1e-9)

moments, quiet, ring = [], False, 0.0
for i, x in enumerate(np.abs(accel[2])):
    ring = max(x, 0.99 * ring)
    level = np.rint(ring)
    if quiet and level > 30:
        moments.append(i)
    if (level > 30) if quiet else (level <= 10):
        quiet = not quiet
rows = (folder / "knocks.csv").read_text().split()
knocks = [row.split(",") for row in rows if row.startswith("assert")]
same("knocks", np.array([float(at) for _, at, _ in knocks]), np.array(moments, float), 0)
same("seconds of knocks", np.array([float(at) for _, _, at in knocks]), np.array(moments) / RATE, 1e-15)
