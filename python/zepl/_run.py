"""Procedures on arrays: run, check, and what comes of them."""

from __future__ import annotations

import json
import os
import threading
from collections.abc import Iterable, Iterator, Mapping
from typing import Any, Union

import numpy as np

from . import _notebook, _options, _zepl
from ._arrays import Array
from ._errors import Error, Mistake, ProcedureError, RunError

OK, FAILED, REFUSED, INTERRUPTED = range(4)
Source = Union[str, "os.PathLike[str]"]
LIMIT_HINT = "give it a limit"


class Table(Mapping[str, Array]):
    """The columns of a table, by their headings, as the file would have them."""

    def __init__(self, columns: dict[str, Array]) -> None:
        self._columns = columns

    def __getitem__(self, heading: str) -> Array:
        return self._columns[heading]

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)

    def __repr__(self) -> str:
        rows = len(next(iter(self._columns.values())))
        return f"<table of {rows} rows: {', '.join(self._columns)}>"


class Result(Mapping[str, Any]):
    """What a run gave: `result["name"]` is the array of a pipe, of shape (frames, channels) for an array of pipes, a Table,
    or the positions of a trigger's events.

    triggers   positions of the events of each trigger that was collected, uint32
    variables  the final values, those of an array also as an array
    report     the report, as `zepl run --report` writes it
    rates      frames a second of each output
    notes, console, diagnostics, status
    """

    def __init__(self, run: Any, report: dict[str, Any], diagnostics: list[Mistake]) -> None:
        self._outputs: dict[str, Any] = {}
        self.triggers: dict[str, Array] = {}
        self.rates: dict[str, float] = {}
        for kind, name, rate, collected in run.outputs():
            self.rates[name] = rate
            self._outputs[name] = _table(collected) if kind == "table" else collected
            if kind == "trigger":
                self.triggers[name] = collected
        self.variables = _variables(run.variables)
        self.report = report
        self.notes: list[str] = run.notes
        self.console: list[str] = run.console
        self.diagnostics = diagnostics
        self.status: str = report["status"]

    def __getitem__(self, name: str) -> Any:
        return self._outputs[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._outputs)

    def __len__(self) -> int:
        return len(self._outputs)

    def __repr__(self) -> str:
        lines = [f"{name}: {_notebook.describe(value)}" for name, value in self._outputs.items()]
        return f"<zepl result, {self.status}>" + "".join(f"\n  {line}" for line in lines)

    def _repr_html_(self) -> str:
        return _notebook.html(self)


def _table(columns: list[tuple[str, Any]]) -> Table:
    rows = next(len(values) for _, values in columns if isinstance(values, np.ndarray))
    table = {}
    for heading, values in columns:
        if not isinstance(values, np.ndarray):
            step, rate = values
            values = np.arange(rows) * step / rate
        table[heading] = values
    return Table(table)


def _variables(given: list[tuple[str, str, Any]]) -> dict[str, Any]:
    values: dict[str, Any] = {}
    arrays: dict[str, list[Any]] = {}
    for name, _, value in given:
        values[name] = value
        if name.endswith("]"):
            arrays.setdefault(name.partition("[")[0], []).append(value)
    return values | {name: np.array(elements) for name, elements in arrays.items()}


def mistakes_of(run: Any, calls: Mapping[int, str]) -> list[Mistake]:
    """What binding and running found; `calls` are the Python calls by the lines that they wrote."""
    return [
        Mistake(line, column, text, hint, severity, length, calls.get(line, ""))
        for severity, line, column, length, text, hint in run.diagnostics
    ]


def _message(run: Any, mistakes: list[Mistake], calls: Mapping[int, str]) -> str:
    if not calls:
        return str(run.rendered).rstrip() or run.reason
    errors = [each for each in mistakes if each.severity == "error"]
    return "\n".join(str(each) for each in errors) or run.reason


class Prepared:
    """A procedure that is bound to what it is given, or not, and has not run yet."""

    def __init__(self, name: str, text: str, options: dict[str, Any], calls: Mapping[int, str] | None = None) -> None:
        self.calls = calls or {}
        self.on_main = threading.current_thread() is threading.main_thread()
        self.run = _zepl.Run(name, text, options | {"main_thread": self.on_main})

    def refuse(self) -> None:
        """Raises what keeps it from running."""
        if not self.run.is_bound:
            mistakes = mistakes_of(self.run, self.calls)
            raise ProcedureError(_message(self.run, mistakes, self.calls), mistakes, json.loads(self.run.report_json))

    def result(self) -> Result:
        """What came of the run, or the exception that it ended with."""
        report, mistakes = json.loads(self.run.report_json), mistakes_of(self.run, self.calls)
        status = self.run.status
        if status == REFUSED:
            raise ProcedureError(_message(self.run, mistakes, self.calls), mistakes, report)
        result = Result(self.run, report, mistakes)
        if status == FAILED:
            raise RunError(_message(self.run, mistakes, self.calls), mistakes, report, result)
        if self.run.is_cut_short:
            raise RunError("the run was interrupted by a signal before its end", mistakes, report, result)
        return result

    def check(self) -> list[Mistake]:
        """What its set-up finds, of one that was prepared with `check`."""
        if self.run.is_bound:
            self.run.run(self.on_main, 1)
        if self.run.is_cut_short:
            raise Error("the check was interrupted by a signal before its end")
        return mistakes_of(self.run, self.calls)


def source_of(procedure: Source) -> tuple[str, str]:
    """Name and text: a string with a line break is the text itself."""
    if isinstance(procedure, str) and "\n" in procedure:
        return "procedure", procedure
    path = os.fspath(procedure)
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        return path, file.read()


def prepared(
    procedure: Source, inputs: Mapping[str, Any] | None, options: dict[str, Any], calls: Mapping[int, str] | None = None
) -> Prepared:
    name, text = source_of(procedure)
    given = _options.inputs(text, name, inputs or {})
    return Prepared(name, text, given | options, calls)


def options_of(
    set: Mapping[str, Any] | None = None,
    files: bool = False,
    out: Mapping[str, Source] | None = None,
    collect: Iterable[str] | Mapping[str, int | None] = (),
    **session: Any,
) -> dict[str, Any]:
    unknown = [name for name in session if name not in SESSION]
    if unknown:
        raise TypeError(f"{unknown[0]!r} is no option of a run: {', '.join(SESSION)} are")
    if out and not files:
        raise ValueError("out= names files, and nothing is written without files=True")
    options = _options.session(session)
    options["mode"] = "both" if files else "collect"
    options["values"] = _options.values(set or {})
    options["collected"] = _options.collected(collect)
    options["outputs"] = {name: os.fspath(path) for name, path in (out or {}).items()}
    return options


SESSION = ("rate", "feed", "block", "memory", "pace", "info", "start_time", "patience", "sync")


def run(
    procedure: Source,
    inputs: Mapping[str, Any] | None = None,
    *,
    set: Mapping[str, Any] | None = None,
    rate: float | None = None,
    files: bool = False,
    out: Mapping[str, Source] | None = None,
    collect: Iterable[str] | Mapping[str, int | None] = (),
    feed: str | int | None = None,
    block: int | None = None,
    memory: str | int | None = None,
    jobs: int | None = None,
    **more: Any,
) -> Result:
    """Runs a procedure, a file or a text, and returns what it would write.

    inputs   arrays by the names of pipes, arrays of pipes and vectors, in place of files; positions of events by the names
             of triggers; names of files
    set      values of variables and constants
    rate     frames a second of the arrays; the procedure's rate where that states none
    files    writes the outputs to their files as well
    out      other files for outputs, with files=True
    collect  names of further pipes and triggers to return; as a dict with a limit for each
    feed     "whole", "lockstep", "random:SEED", or how many samples an input gives at a time
    block    samples of the default block
    memory   the most that the session may use, as 512000000 or "512M"
    jobs     on how many processors groups of tasks run that share nothing; else on those that no other run uses
    more     pace, info, start_time, patience, sync: as the options of `zepl run`

    An array that has its pipe's type is lent and not copied; do not change it while the run lasts. Mistakes in the
    procedure raise ProcedureError, a run that failed RunError.
    """
    options = options_of(
        set, files, out, collect, rate=rate, feed=feed, block=block, memory=memory, **more
    )
    return finish(prepared(procedure, inputs, options), jobs)


def finish(ready: Prepared, jobs: int | None = None) -> Result:
    engines = 0 if jobs is None else _options.whole("jobs", jobs, 1, (1 << 32) - 1)
    ready.refuse()
    ready.run.run(ready.on_main, engines)
    return ready.result()


def check(
    procedure: Source, inputs: Mapping[str, Any] | None = None, *, set: Mapping[str, Any] | None = None, **more: Any
) -> list[Mistake]:
    """The mistakes of a procedure, and the warnings: it is read, its files are opened and its tasks set up."""
    return prepared(procedure, inputs, options_of(set, **more) | {"check": True}).check()
