#!/usr/bin/env python3
"""Writes gearbox.wav beside itself: four accelerometers on a gearbox for eight seconds, 5120 frames a second, 0.01 m/s² a count.
The shaft turns 23.4 times a second, its wheel has 17 teeth; each sensor has an offset and noise of its own, and the third one is
near a bearing that knocks at some moments. Needs nothing but Python."""
import math
import pathlib
import random
import struct
import wave

RATE, SECONDS, SHAFT, TEETH = 5120, 8, 23.4, 17
OFFSETS = (120, -45, 300, 8)  # counts
SHAFT_LEVELS, MESH_LEVELS = (90, 60, 75, 40), (400, 250, 520, 180)
KNOCKS = (0.8125, 2.25, 2.9375, 4.5, 6.71875)  # seconds

noise = random.Random(17)
frames = bytearray()
for i in range(RATE * SECONDS):
    t = i / RATE
    knock = sum(
        math.exp(-(t - at) * 400) * math.sin(2 * math.pi * 1500 * (t - at)) for at in KNOCKS if at <= t < at + 0.05
    )
    for channel in range(4):
        value = OFFSETS[channel] + noise.gauss(0, 25)
        value += SHAFT_LEVELS[channel] * math.sin(2 * math.pi * SHAFT * t + channel)
        value += MESH_LEVELS[channel] * math.sin(2 * math.pi * SHAFT * TEETH * t + 2 * channel)
        value += knock * (6000 if channel == 2 else 300)
        frames += struct.pack("<h", max(-32768, min(32767, round(value))))
with wave.open(str(pathlib.Path(__file__).resolve().parent / "gearbox.wav"), "wb") as file:
    file.setparams((4, 2, RATE, 0, "NONE", ""))
    file.writeframes(bytes(frames))
