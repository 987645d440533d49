#!/usr/bin/env python3
"""Writes tanks.csv beside itself: the levels of two tanks in centimetres, once a minute for five hours. One is filled by a pump
that pauses, the other is drained through a hole in its bottom. Needs nothing but Python."""
import pathlib

MINUTES, HEIGHT = 300, 400

lines, filled = ["filling,draining"], 0.0
for minute in range(MINUTES):
    drained = HEIGHT * max(0.0, 1 - minute / 250) ** 2  # the outflow goes with the root of the level
    lines.append(f"{round(filled)},{round(drained)}")
    if minute % 60 < 40:
        filled = min(HEIGHT, filled + 2.1)
(pathlib.Path(__file__).resolve().parent / "tanks.csv").write_text("\n".join(lines) + "\n")
