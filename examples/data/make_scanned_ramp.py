#!/usr/bin/env python3
"""Writes scanned_ramp.csv beside itself: a ramp of 80 counts a frame on eight channels, as a scanner takes them, one
after another at equal distances within the frame. Needs nothing but Python."""
import pathlib

FRAMES, CHANNELS, COUNTS_PER_FRAME = 200, 8, 80

lines = [",".join(f"ch{c + 1}" for c in range(CHANNELS))]
for frame in range(FRAMES):
    times = (frame + c / CHANNELS for c in range(CHANNELS))
    lines.append(",".join(str(round(COUNTS_PER_FRAME * t) - 8000) for t in times))
(pathlib.Path(__file__).resolve().parent / "scanned_ramp.csv").write_text("\n".join(lines) + "\n")
