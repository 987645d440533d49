"""Procedures that are built in code, in the words of the language."""

from __future__ import annotations

import itertools
import os
import re
import sys
from collections.abc import Iterable, Iterator, Mapping, Sequence
from typing import Any

import numpy as np

from . import _options, _run, _zepl
from ._arrays import NAMES, is_vector, samples_for, type_name, with_vectors
from ._commands import Commands, typed_number
from ._errors import Mistake
from ._live import Live, capacities
from ._run import Prepared, Result

_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")
_FOLDER = os.path.dirname(__file__)


class Named:
    """What a procedure declares. Arrays are indexed from 1, as procedures do."""

    def __init__(self, procedure: Procedure, kind: str, name: str, type: str, count: int | None) -> None:
        self._procedure, self._kind = procedure, kind
        self.name, self.type, self.count = name, type, count

    def __str__(self) -> str:
        return self.name

    def __repr__(self) -> str:
        return f"<{self._kind} {self.name}{f' : {self.type}' if self.type else ''}>"

    def __len__(self) -> int:
        if self.count is None:
            raise TypeError(f"{self.name} is no array")
        return self.count

    def __getitem__(self, index: int) -> Named:
        if not 1 <= index <= len(self):
            raise IndexError(f"{self.name} has the elements {self.name}[1] to {self.name}[{self.count}]")
        return type(self)(self._procedure, self._kind, f"{self.name}[{index}]", self.type, None)

    def __iter__(self) -> Iterator[Named]:
        return (self[index] for index in range(1, len(self) + 1))

    @property
    def base(self) -> str:
        """The array's name, of one of its elements."""
        return self.name.partition("[")[0]


class Pipe(Named):
    pass


class Trigger(Named):
    pass


class Variable(Named):
    pass


class Vector(Named):
    pass


def _quoted(text: str) -> str:
    for character, escape in (("\\", "\\\\"), ('"', '\\"'), ("\n", "\\n"), ("\t", "\\t")):
        text = text.replace(character, escape)
    return f'"{text}"'


def _here() -> str:
    """The file and the line that called into the package."""
    frame = sys._getframe(1)
    while frame.f_back is not None and os.path.dirname(frame.f_code.co_filename) == _FOLDER:
        frame = frame.f_back
    return f"{os.path.basename(frame.f_code.co_filename)}:{frame.f_lineno}"


class Procedure(Commands):
    """A procedure that is built in code. Every installed command is a method of its name, which takes what a line of a
    procedure would: pipes, triggers, variables, vectors, numbers, words and texts, by position or by the names of the
    command's signature. A number of a NumPy type (np.int16, np.int32, np.float32) has that type; a list or an array stands
    for a vector.

        p = zepl.Procedure(rate=360)
        x = p.pipe("x", np.int16, samples)
        y = p.pipe("y", np.int16)
        p.OFFSET(x, 5, y)
        p.run()["y"]
    """

    def __init__(self, *, rate: float | None = None, feed: str | int | None = None, name: str = "procedure") -> None:
        self.name = name
        self._rate, self._feed = rate, feed
        self._lines: list[str] = []
        self._calls: dict[int, str] = {}
        self._inputs: dict[str, Any] = {}
        self._names: dict[str, Named] = {}
        self._limits: dict[str, int | None] = {}
        self._written: dict[str, None] = {}  # in the order of the tasks
        self._read: set[str] = set()
        self._vectors = itertools.count(1)

    @property
    def text(self) -> str:
        """The procedure as a file would have it; arrays stand as files of their pipes' names."""
        return "\n".join([*self._lines, ""])

    def _write(self, line: str, call: str) -> None:
        self._lines.append(line)
        self._calls[len(self._lines)] = f"{_here()}: p.{call}"

    def _declare(self, made: Named, line: str, call: str) -> None:
        if not _NAME.fullmatch(made.name):
            raise ValueError(f"{made.name!r} is no name: a letter, then letters, digits and _")
        self._names.setdefault(made.name, made)
        self._write(line, call)

    def pipe(
        self,
        name: str,
        type: Any,
        samples: Any = None,
        *,
        count: int | None = None,
        capacity: int | None = None,
        starts: Sequence[float] | None = None,
        interleaved: int | None = None,
        channel: int | None = None,
        convert: str | None = None,
        limit: int | None = None,
        to: str | os.PathLike[str] | None = None,
    ) -> Pipe:
        """Declares a pipe, or an array of `count` pipes.

        samples      an array of samples, of shape (frames, channels) for an array of pipes, or the name of a file
        capacity     samples that wait in it at most, before the runtime has to let it grow
        starts       samples that are there before anything runs, as a loop needs
        interleaved  channels that the stream has, frame by frame
        channel      which one of several channels it takes
        convert      "rounded", "truncated" or "scaled", where the samples have another type
        limit        the most samples that are returned: what ends a generator
        to           a file that p.run(files=True) writes
        """
        kind = type_name(type)
        made = Pipe(self, "pipe", name, kind, count)
        line = f"pipe {name}{self._index(count)} : {kind}"
        line += f" capacity {capacity}" if capacity is not None else ""
        line += f" starts [{self._numbers(starts)}]" if starts is not None else ""
        line += f" interleaved {interleaved}" if interleaved is not None else ""
        line += self._from(name, samples, kind, convert)
        line += f" channel {channel}" if channel is not None else ""
        line += f" convert {convert}" if convert is not None else ""
        line += f" to {_quoted(os.fspath(to))}" if to is not None else ""
        line += f" limit {limit}" if to is not None and limit is not None else ""
        self._limits[name] = limit
        self._declare(made, line, f"pipe({name!r}, ...)")
        return made

    def trigger(
        self,
        name: str,
        events: Iterable[Any] | str | os.PathLike[str] | None = None,
        *,
        count: int | None = None,
        limit: int | None = None,
        to: str | os.PathLike[str] | None = None,
    ) -> Trigger:
        """Declares a trigger; its events are positions of samples, pairs such as ("status", 100), or the name of a file."""
        made = Trigger(self, "trigger", name, "", count)
        line = f"trigger {name}{self._index(count)}" + self._from(name, events, "", None, "csv")
        line += f" to {_quoted(os.fspath(to))}" if to is not None else ""
        line += f" limit {limit}" if to is not None and limit is not None else ""
        self._limits[name] = limit
        self._declare(made, line, f"trigger({name!r}, ...)")
        return made

    def variable(self, name: str, type: Any, value: Any = 0, *, count: int | None = None) -> Variable:
        """Declares a variable, which commands read and set, or an array of them."""
        kind = type_name(type)
        made = Variable(self, "variable", name, kind, count)
        several = count is not None and np.ndim(value) > 0
        text = f"[{self._numbers(value)}]" if several else _options.number_text(value)
        self._declare(made, f"variable {name}{self._index(count)} : {kind} = {text}", f"variable({name!r}, ...)")
        return made

    def vector(self, name: str, type: Any, values: Any) -> Vector:
        """Declares a vector: an array, a list or the name of a file."""
        kind = type_name(type)
        made = Vector(self, "vector", name, kind, None)
        self._declare(made, f"vector {name} : {kind}" + self._from(name, values, kind, None), f"vector({name!r}, ...)")
        return made

    def expression(
        self,
        name: str,
        type: Any,
        text: str,
        *,
        count: int | None = None,
        starts: Sequence[float] | None = None,
        limit: int | None = None,
    ) -> Pipe:
        """Declares a pipe that an expression of other pipes, variables and numbers defines sample by sample, as
        p.expression("power", np.float64, "v * i") or, with the pipes themselves, f"{v} * {i}"."""
        kind = type_name(type)
        made = Pipe(self, "pipe", name, kind, count)
        line = f"pipe {name}{self._index(count)} : {kind}"
        line += f" = {text}"
        line += f" starts [{self._numbers(starts)}]" if starts is not None else ""
        self._limits[name] = limit
        self._declare(made, line, f"expression({name!r}, ...)")
        self._written[name] = None
        self._read.update(word for word in _NAME.findall(text) if word != name)
        return made

    def table(self, file: str, *columns: Any) -> None:
        """Declares a table of pipes side by side: columns are pipes, or texts such as "seconds every 0.5"."""
        self._write(f"table {_quoted(file)} : {', '.join(map(str, columns))}", f"table({file!r}, ...)")

    def _index(self, count: int | None) -> str:
        return "" if count is None else f"[{count}]"

    def _numbers(self, values: Any) -> str:
        return ", ".join(_options.number_text(each) for each in values)

    def _from(self, name: str, given: Any, kind: str, convert: str | None, ending: str = "npy") -> str:
        if given is None:
            return ""
        if isinstance(given, (str, os.PathLike)):
            return f" from {_quoted(os.fspath(given))}"
        # At once, so that what does not fit is said where it is given.
        self._inputs[name] = samples_for(name, given, kind, convert is not None) if kind else _options.events(name, given)
        return f' from "{name}.{ending}"'

    def _argument(self, given: Any) -> str:
        if isinstance(given, Named):
            if given._procedure is not self:
                raise ValueError(f"{given!r} belongs to another procedure")
            return given.name
        if isinstance(given, str):
            return given if given in _zepl.words() else _quoted(given)
        if is_vector(given):
            return self.vector(f"vector_{next(self._vectors)}", given.dtype, given).name
        value, kind = typed_number(given)
        return _options.number_text(value) + (f":{kind}" if kind else "")

    def _add(self, command: str, arguments: Sequence[Any]) -> None:
        tries = [(values, _zepl.roles(command, [self._role(each) for each in values])) for values in with_vectors(arguments)]
        values, roles = next(((values, roles) for values, roles in tries if any(roles)), tries[0])
        texts = [self._argument(each) for each in values]
        self._write(f"{command} ({', '.join(texts)})", f"{command}({', '.join(texts)})")
        for given, direction in zip(arguments, roles):
            if isinstance(given, (Pipe, Trigger)):
                if direction == "out":
                    self._written[given.base] = None
                else:
                    self._read.add(given.base)

    def _role(self, given: Any) -> tuple[Any, ...]:
        if isinstance(given, Vector):
            values = self._inputs.get(given.name)
            return ("vector", given.type, len(values) if values is not None else 1, 0)
        if isinstance(given, Named):
            return (given._kind, given.type)
        if isinstance(given, str):
            return ("word" if given in _zepl.words() else "text", given)
        if is_vector(given):
            return ("vector", NAMES[given.dtype], len(given), 0)
        return ("number", *typed_number(given))

    def _prepared(
        self, collect: Iterable[Any] | Mapping[str, int | None], files: bool, more: dict[str, Any], **bound: Any
    ) -> Prepared:
        names = [each.name if isinstance(each, Named) else each for each in collect]
        limits = collect if isinstance(collect, Mapping) else {}
        wanted = [name for name in self._written if name not in self._read] + names
        collected = {name: limits.get(name, self._limits.get(name)) for name in wanted}
        more = {"rate": self._rate, "feed": self._feed} | {name: value for name, value in more.items() if value is not None}
        options = _run.options_of(files=files, collect=collected, **more) | bound
        given: dict[str, dict[str, Any]] = {"inputs": {}, "samples": {}, "events": {}}
        for name, value in self._inputs.items():
            given["samples" if isinstance(value, np.ndarray) else "events"][name] = value
        return Prepared(self.name, self.text, given | options, self._calls)

    def run(
        self,
        *,
        collect: Iterable[Any] | Mapping[str, int | None] = (),
        set: Mapping[str, Any] | None = None,
        files: bool = False,
        jobs: int | None = None,
        **more: Any,
    ) -> Result:
        """Runs it and returns every pipe and trigger that a task writes and none reads, tables, what goes to a file, and those
        named in `collect`. The other options are those of zepl.run. It can run again, with other values."""
        return _run.finish(self._prepared(collect, files, {"set": set, **more}), jobs)

    def start(
        self,
        *,
        live: Iterable[Any] | Mapping[str, int] = (),
        collect: Iterable[Any] | Mapping[str, int | None] = (),
        set: Mapping[str, Any] | None = None,
        files: bool = False,
        **more: Any,
    ) -> Live:
        """Starts it in a thread of its own; `live` names the pipes that push() feeds."""
        wanted = capacities(live, self._inputs, "the procedure has samples for")
        return Live(self._prepared(collect, files, {"set": set, **more}, fed={*wanted}), wanted)

    def check(self, **more: Any) -> list[Mistake]:
        """The mistakes, and the warnings, without a run; each has the Python call that it comes from."""
        return self._prepared((), False, more, check=True).check()

    def __repr__(self) -> str:
        return f"<zepl procedure of {len(self._lines)} lines>\n{self.text}"


__all__ = ["Pipe", "Procedure", "Trigger", "Variable", "Vector"]
