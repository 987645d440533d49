"""A procedure on many recordings: on this machine by the tool, or on the machines of a Dask cluster."""

from __future__ import annotations

import csv
import json
import os
import shutil
import subprocess
import tempfile
from collections.abc import Iterable, Mapping
from typing import Any, Union

from ._errors import Error

Path = Union[str, "os.PathLike[str]"]
Row = dict[str, Any]


class Rows(list[Row]):
    """A row for each recording, in natural order of their names: a dict by the columns of the table. Numbers are numbers, and
    what a bad recording has not is None."""

    @property
    def bad(self) -> list[Row]:
        return [row for row in self if row["status"] != "ok"]


def tool() -> str:
    """The tool: the one that was built or installed with this package, or else the one on the path."""
    beside = os.path.join(os.path.dirname(__file__), "..", "..", "zepl")
    found = os.environ.get("ZEPL_TOOL") or (os.path.abspath(beside) if os.access(beside, os.X_OK) and os.path.isfile(beside) else "")
    found = found or shutil.which("zepl") or ""
    if not found:
        raise FileNotFoundError("the tool zepl is not on the path, and $ZEPL_TOOL does not name it")
    return found


def words_of(
    set: Mapping[str, Any], inputs: Mapping[str, Path], modules: Iterable[Path], discard: Iterable[str], more: Mapping[str, Any]
) -> list[str]:
    """The tool's options that hold for every recording."""
    words = [f"--set={name}={value}" for name, value in set.items()]
    words += [f"--in={name}={os.fspath(file)}" for name, file in inputs.items()]
    words += [f"--module={os.fspath(module)}" for module in modules]
    words += [f"--discard={name}" for name in discard]
    for name, value in more.items():
        if name == "sync":
            words += [] if value else ["--no-sync"]
        elif name in ("feed", "block", "memory", "patience", "start_time"):
            words.append(f"--{name.replace('_', '-')}={value}")
        else:
            raise TypeError(f"{name!r} is no option of a batch: feed, block, memory, patience, start_time and sync are")
    return words


def each_words(each: Mapping[str, Any]) -> list[str]:
    if not each:
        raise ValueError("each= names no input, as in each={\"ecg\": \"recordings/*.wav\"}")
    words = []
    for name, files in each.items():
        for file in [files] if isinstance(files, (str, os.PathLike)) else files:
            words.append(f"--each={name}={os.fspath(file)}")
    return words


def call(words: list[str], **more: Any) -> subprocess.CompletedProcess[str]:
    """Runs the tool. An exception, such as KeyboardInterrupt, ends it in order."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                               errors="surrogateescape", **more)
    try:
        out, err = process.communicate()
    except BaseException:
        process.terminate()
        process.communicate()
        raise
    return subprocess.CompletedProcess(words, process.returncode, out, err)


def cells_of(table: str) -> list[dict[str, str]]:
    with open(table, newline="", encoding="utf-8", errors="surrogateescape") as file:
        return list(csv.DictReader(file))


def _number(text: str) -> Any:
    for kind in (int, float):
        try:
            return kind(text)
        except ValueError:
            pass
    return text or None


def row_of(cells: Mapping[str, str]) -> Row:
    """A row with numbers for the texts of the table."""
    texts = [name for name in cells if name in ("file", "status", "notes") or name.endswith(".file")]
    return {name: text if name in texts else _number(text) for name, text in cells.items()}


def batch(
    procedure: Path,
    each: Mapping[str, Any],
    out: Mapping[str, Path] | None = None,
    *,
    discard: Iterable[str] = (),
    inputs: Mapping[str, Path] | None = None,
    set: Mapping[str, Any] | None = None,
    table: Path | None = None,
    modules: Iterable[Path] = (),
    jobs: int | None = None,
    resume: bool = False,
    client: Any = None,
    send: bool = False,
    **more: Any,
) -> Rows:
    """Runs the procedure of a file once for each recording, as `zepl batch` does, and returns the rows of its table.

    each      files by the names of pipes or triggers: a file, a folder, a pattern, or a list of such
    out       patterns of the files of the outputs, such as "out/{stem}.wav"
    discard   outputs that have their count and their last sample in the table, and no file
    inputs    files that are the same for every recording
    set       values of variables and constants
    table     the table's file, where it is to be kept
    modules   further modules
    jobs      how many processes run recordings here, one on each processor unless given
    resume    keeps the rows of the table for recordings that went well and have not changed since
    client    a dask.distributed.Client: its workers run the recordings, in their places of the same folders
    send      the workers have no such folders: recordings and modules are sent to them, and outputs back
    more      feed, block, memory, patience, start_time, sync: as the options of `zepl batch`

    A recording that goes wrong has a row that says so; a call or a procedure that is wrong raises zepl.Error.
    """
    common = words_of(set or {}, inputs or {}, modules, discard, more)
    words = [tool(), "batch", os.fspath(procedure), *each_words(each), *common]
    words += [f"--out={name}={os.fspath(pattern)}" for name, pattern in (out or {}).items()]
    with tempfile.TemporaryDirectory() as scratch:
        file = os.fspath(table) if table is not None else os.path.join(scratch, "table.csv")
        words.append(f"--table={file}")
        if client is not None:
            if jobs is not None or resume:
                raise ValueError("jobs and resume are of batches on this machine, not of a cluster's")
            from . import _cluster

            return _cluster.run(client, _plan(words), procedure, common, list(modules), file, send)
        words += [f"--jobs={jobs}"] if jobs is not None else []
        words += ["--resume"] if resume else []
        done = call([*words, "--quiet"])
        if done.returncode not in (0, 1) or not os.path.exists(file):
            raise Error(done.stderr.strip())
        return Rows(row_of(cells) for cells in cells_of(file))


def _plan(words: list[str]) -> dict[str, Any]:
    done = call([*words, "--list"])
    if done.returncode != 0:
        raise Error(done.stderr.strip())
    plan: dict[str, Any] = json.loads(done.stdout)
    return plan
