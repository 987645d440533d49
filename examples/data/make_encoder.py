#!/usr/bin/env python3
"""Writes encoder.csv: four seconds of a digital port, 1000 words a second, with the two signals of a quadrature encoder on
its bits 0 and 1. The shaft swings by 150 steps to either side, twice."""

import math
import pathlib

GRAY = (0, 1, 3, 2)

with open(pathlib.Path(__file__).with_name("encoder.csv"), "w") as file:
    file.write("port\n")
    for sample in range(4000):
        position = round(150 * math.sin(math.pi * sample / 1000))
        file.write(f"{GRAY[position % 4]}\n")
