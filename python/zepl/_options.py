"""What a caller says of a run, as the extension module takes it."""

from __future__ import annotations

import operator
import os
import re
from collections.abc import Iterable, Mapping
from typing import Any

import numpy as np

from . import _zepl
from ._arrays import samples_for

_LIMITS = {"block": (1, 1 << 24), "start_time": (0, (1 << 32) - 1), "patience": (0,)}
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


def whole(name: str, given: Any, least: int = 0, most: int = (1 << 64) - 1) -> int:
    """A whole number in that range."""
    if isinstance(given, bool) or not hasattr(given, "__index__"):
        raise TypeError(f"{name}={given!r}: it is a whole number")
    number = operator.index(given)
    if not least <= number <= most:
        raise ValueError(f"{name}={given!r}: {least} to {most} are allowed")
    return number


def number(value: Any) -> int | float:
    """A number as Python's own."""
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, bool):
        value = int(value)
    if not isinstance(value, (int, float)):
        raise TypeError(f"{value!r} is no number")
    return value


def number_text(value: Any) -> str:
    """A number as procedures write it."""
    value = number(value)
    return str(value) if isinstance(value, int) else str(_zepl.number_text(value))


def values(given: Mapping[str, Any]) -> dict[str, str]:
    """Numbers and texts by the names of variables and constants; a list gives the elements of an array."""
    texts: dict[str, str] = {}
    for name, value in _by_name("set", given).items():
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
    for each, value in _by_name("inputs", given).items():
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
    limits = dict(given) if isinstance(given, Mapping) else {name: None for name in given}
    for name, limit in _by_name("collect", limits).items():
        if limit is not None:
            whole(f"collect[{name!r}]", limit)
    return limits


def _by_name(option: str, given: Mapping[str, Any]) -> Mapping[str, Any]:
    for name in given if isinstance(given, Mapping) else [given]:
        if not isinstance(name, str):
            raise TypeError(f"{option} has {name!r}, and takes names")
    return given


def session(given: dict[str, Any]) -> dict[str, Any]:
    """Those of a run's other options that are set."""
    options = {name: value for name, value in given.items() if value is not None}
    if "feed" in options:
        options["feed"] = feed(options["feed"])
    if "memory" in options:
        options["memory"] = memory(options["memory"])
    for name in ("rate", "pace"):
        if name in options:
            options[name] = number(options[name])
    for name, limits in _LIMITS.items():
        if name in options:
            options[name] = whole(name, options[name], *limits)
    if not isinstance(options.get("sync", True), (bool, np.bool_)):
        raise TypeError(f"sync={options['sync']!r}: it is True or False")
    if "info" in options:
        options["info"] = _info(options["info"])
    return options


def _info(given: Mapping[int, int]) -> dict[int, int]:
    if not isinstance(given, Mapping):
        raise TypeError(f"info={given!r}: it is a dict of numbers by numbers, as {{1: 1000}}")
    most = (1 << 32) - 1
    return {whole("a number of info", key, 0, most): whole(f"info[{key}]", value, 0, most) for key, value in given.items()}
