#!/usr/bin/env python3
"""Computes the tables of src/arith/level_tables.h.

    level_tables.py           writes the file
    level_tables.py --check   exit status 1 if the file differs from what is computed

Needs clang-format-14.
"""

import subprocess
import sys
from decimal import Decimal, getcontext
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
TABLES = ROOT / "src/arith/level_tables.h"

getcontext().prec = 50
STEPS = 107

# The one ratio of the long table that is not the integer part but one more: recorded levels depend on it.
LONG_EXCEPTIONS = {106: 1756772675}
# Points of the long grid left out, where the ratio would repeat.
LONG_LEFT_OUT = {1, 2, 3, 5, 7}


def power(factor, base, n):
    """The integer part of factor * base^(n / STEPS); the ends are whole, which rounding must not spoil."""
    exact = factor * (Decimal(base).ln() * n / STEPS).exp()
    return int(exact.quantize(Decimal("1e-20")))


def table(name, comment, ratios, values):
    rows = ", ".join(map(str, ratios)), ", ".join(map(str, values))
    return f"// {comment}\ninline constexpr Curve<{len(ratios)}> {name}{{{{{rows[0]}}},\n{{{rows[1]}}}}};\n\n"


def header():
    short = range(STEPS + 1)
    long = [n for n in short if n not in LONG_LEFT_OUT]
    top_level = 20 * Decimal(32767).log10() * 100000
    text = """// Levels in decibels times 100000, against ratios, in steps that are equal on a logarithmic scale. Made by
// tools/level_tables.py, which has the rules.
#pragma once

#include "arith/curve.h"

namespace zcmds {

"""
    text += table("shortLevels", "Of ratios in units of 1 / 32768: 32768 * 32767^(k / 107) has the level k / 107 of 32767's.",
                  [power(32768, 32767, k) for k in short], [int(k * top_level / STEPS) for k in short])
    text += table("longLevels", "Of ratios as they are: 2147483647^(n / 107) has the level n * 174428.59561.",
                  [LONG_EXCEPTIONS.get(n, power(1, 2147483647, n)) for n in long],
                  [int(n * Decimal("174428.59561")) for n in long])
    return text + "}  // namespace zcmds\n"


def formatted(text):
    call = ["clang-format-14", f"--assume-filename={TABLES}"]
    return subprocess.run(call, input=text, capture_output=True, text=True, check=True).stdout


def main():
    text = formatted(header())
    if sys.argv[1:] == ["--check"]:
        if TABLES.read_text() != text:
            sys.exit(f"{TABLES.relative_to(ROOT)} is not what tools/{Path(__file__).name} makes")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        TABLES.write_text(text)


main()
