"""What a caller says of a run, as the extension module takes it."""

from __future__ import annotations

import os
import re
from collections.abc import Iterable, Mapping
from typing import Any

import numpy as np

from . import _zepl
from ._arrays import samples_for

_UNITS = {"": 1, "K": 1 << 10, "M": 1 << 20, "G": 1 << 30, "T": 1 << 40}


def feed(given: str | int) -> tuple[str, int]:
    """1000, "whole", "lockstep" or "random:SEED"."""
    text = str(given)
    if text in ("whole", "lockstep"):
        return text, 0
    kind, _, number = text.rpartition(":")
    if kind in ("", "random") and number.isdecimal() and (kind or int(number) > 0):
        return kind or "pieces", int(number)
    raise ValueError(f"feed={given!r}: it is \"whole\", \"lockstep\", \"random:SEED\" or a number of samples")


def memory(given: str | int) -> int:
    """Bytes, or a text such as "512M"."""
    match = re.fullmatch(r"(\d+)([KMGT]?)", str(given))
    if match is None:
        raise ValueError(f"memory={given!r}: it is a number of bytes, or one with K, M, G or T after it")
    return int(match[1]) * _UNITS[match[2]]


def number_text(value: Any) -> str:
    """A number as procedures write it."""
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, bool):
        value = int(value)
    if not isinstance(value, (int, float)):
        raise TypeError(f"{value!r} is no number")
    return str(value) if isinstance(value, int) else str(_zepl.number_text(value))


def values(given: Mapping[str, Any]) -> dict[str, str]:
    """Numbers and texts by the names of variables and constants; a list gives the elements of an array."""
    texts: dict[str, str] = {}
    for name, value in given.items():
        if isinstance(value, str):
            texts[name] = value
        elif isinstance(value, (list, tuple)) or (isinstance(value, np.ndarray) and value.ndim > 0):
            texts.update({f"{name}[{index}]": number_text(each) for index, each in enumerate(value, 1)})
        else:
            texts[name] = number_text(value)
    return texts


def events(name: str, given: Iterable[Any]) -> list[tuple[bool, int]]:
    """Positions of assertions, or pairs of "assert" or "status" and a position."""
    rows = []
    for each in given.tolist() if isinstance(given, np.ndarray) else given:
        kind, position = each if isinstance(each, tuple) else ("assert", each)
        if kind not in ("assert", "status") or int(position) != position or not 0 <= position < 1 << 32:
            raise ValueError(
                f"`{name}` is given the event {each!r}: events are positions from 0 to 4294967295, or pairs such as "
                f"(\"assert\", 100) and (\"status\", 200)"
            )
        rows.append((kind == "assert", int(position)))
    return rows


def inputs(text: str, name: str, given: Mapping[str, Any]) -> dict[str, Any]:
    """Arrays, events and names of files, by what the procedure declares."""
    pipes, vectors, triggers = _zepl.declarations(name, text)
    declared = {each: (kind, conversion is not None) for each, kind, conversion in pipes + vectors}
    options: dict[str, Any] = {"inputs": {}, "samples": {}, "events": {}}
    for each, value in given.items():
        if isinstance(value, (str, os.PathLike)):
            options["inputs"][each] = os.fspath(value)
        elif each in triggers or each.partition("[")[0] in triggers:
            options["events"][each] = events(each, value)
        else:
            # A name that is not declared is the binder's to refuse.
            kind, converts = declared.get(each.partition("[")[0], ("double", False))
            options["samples"][each] = samples_for(each, value, kind, converts)
    return options


def collected(given: Iterable[str] | Mapping[str, int | None]) -> dict[str, int | None]:
    if isinstance(given, str):
        given = [given]
    return dict(given) if isinstance(given, Mapping) else {name: None for name in given}


def session(given: dict[str, Any]) -> dict[str, Any]:
    """Those of a run's other options that are set."""
    options = {name: value for name, value in given.items() if value is not None}
    if "feed" in options:
        options["feed"] = feed(options["feed"])
    if "memory" in options:
        options["memory"] = memory(options["memory"])
    return options
