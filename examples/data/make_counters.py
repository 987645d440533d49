#!/usr/bin/env python3
"""Writes flow_counter.csv and shaft_counter.csv beside itself: 20 seconds of two free-running 16-bit counters, ten readings a
second. One counts the pulses of a flow meter, goes upward only and wraps twice; one counts the steps of a shaft both ways, from
32700 up over its top and back. Needs nothing but Python."""
import math
import pathlib

READINGS = 200


def word(count):
    """What a 16-bit register shows of a count, as a signed number."""
    return (count + 0x8000) % 0x10000 - 0x8000


def write(name, heading, counts):
    lines = [heading] + [str(word(count)) for count in counts]
    (pathlib.Path(__file__).resolve().parent / name).write_text("\n".join(lines) + "\n")


pulses = [0]
for reading in range(1, READINGS):
    pulses.append(pulses[-1] + round(800 - 600 * math.cos(2 * math.pi * reading / READINGS)))
write("flow_counter.csv", "pulses", pulses)
write("shaft_counter.csv", "steps", (32700 + round(500 * math.sin(math.pi * r / READINGS)) for r in range(READINGS)))
