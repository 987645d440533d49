"""A batch on the workers of a Dask cluster: each recording is a task, which runs the tool."""

from __future__ import annotations

import os
import shutil
import tempfile
import time
import uuid
from collections.abc import Iterable, Mapping
from typing import Any

from . import _batch

ALONE = 60.0  # seconds without any worker after which nobody is waited for


def _cell(text: str) -> str:
    plain = not any(letter in text for letter in ',"\r\n') and text == text.strip(" ")
    return text if plain else '"' + text.replace('"', '""') + '"'


class Table:
    """The table of a batch: rows are added as they come, and stand in order at the end."""

    def __init__(self, file: str, inputs: list[str]) -> None:
        self._file = file
        self._first = ["file", *(f"{name}.file" for name in inputs[1:]), "status"]
        self._columns: list[str] = []
        self.rows: dict[int, Mapping[str, str]] = {}
        os.makedirs(os.path.dirname(file) or ".", exist_ok=True)
        self.rewrite()

    def add(self, place: int, cells: Mapping[str, str]) -> None:
        if place in self.rows:
            return
        self.rows[place] = cells
        if self._missing(cells):
            self.rewrite()
            return
        with open(self._file, "a", newline="", encoding="utf-8", errors="surrogateescape") as file:
            file.write(self._line(cells))

    def rewrite(self) -> None:
        self._columns = []
        for place in sorted(self.rows):
            self._columns += self._missing(self.rows[place])
        # Variables come first, as the tool has them.
        self._columns.sort(key=lambda name: name.endswith((".count", ".last")))
        beside = f"{self._file}.{os.getpid()}.part"
        with open(beside, "w", newline="", encoding="utf-8", errors="surrogateescape") as file:
            file.write(",".join(map(_cell, self.heading)) + "\n")
            file.writelines(self._line(self.rows[place]) for place in sorted(self.rows))
        os.replace(beside, self._file)

    @property
    def heading(self) -> list[str]:
        return [*self._first, *self._columns, "notes", "seconds"]

    def result(self) -> _batch.Rows:
        cells = ({name: self.rows[place].get(name, "") for name in self.heading} for place in sorted(self.rows))
        return _batch.Rows(map(_batch.row_of, cells))

    def _missing(self, cells: Mapping[str, str]) -> list[str]:
        known = {*self.heading}
        return [name for name in cells if name not in known]

    def _line(self, cells: Mapping[str, str]) -> str:
        return ",".join(_cell(cells.get(name, "")) for name in self.heading) + "\n"


def _read(file: str) -> bytes | None:
    try:
        with open(file, "rb") as opened:
            return opened.read()
    except OSError:
        return None


def _write(file: str, content: bytes) -> None:
    os.makedirs(os.path.dirname(file) or ".", exist_ok=True)
    with open(f"{file}.{os.getpid()}.part", "wb") as opened:
        opened.write(content)
    os.replace(opened.name, file)


def run_recording(task: Mapping[str, Any]) -> tuple[dict[str, str], dict[str, bytes]]:
    """On a worker: the cells of the recording's row, and the files that it gave, where they are to be sent back."""
    with tempfile.TemporaryDirectory() as scratch:
        # What was sent stands as it stood, in a folder that takes the place of the root.
        root = os.path.join(scratch, "root") if task["sent"] is not None else ""
        for name, content in (task["sent"] or {}).items():
            _write(root + name, content)
        folder = root + task["folder"]
        if root:
            os.makedirs(folder, exist_ok=True)

        def placed(name: str) -> str:
            return root + name if os.path.isabs(name) else name

        table = os.path.join(scratch, "row.csv")
        words = [_batch.tool(), "batch", placed(task["procedure"]), f"--table={table}", "--jobs=1", "--quiet", "--no-check"]
        words += [f"--each={name}={placed(file)}" for name, file in task["inputs"]]
        escaped = ((name, placed(file).replace("{", "{{").replace("}", "}}")) for name, file in task["outputs"])
        words += [f"--out={name}={file}" for name, file in escaped]
        words += [_replaced(word, root) for word in task["words"]]
        # It ends with the worker.
        setpriv = shutil.which("setpriv")
        done = _batch.call([*([setpriv, "--pdeathsig", "TERM"] if setpriv else []), *words], cwd=folder)
        rows = _batch.cells_of(table) if os.path.exists(table) else []
        if len(rows) != 1:
            raise RuntimeError(done.stderr.strip() or f"the tool ended with status {done.returncode}")
        cells = {name: text.replace(root, "") if root else text for name, text in rows[0].items()}
        given: dict[str, bytes] = {}
        for _, file in task["outputs"] if root else []:
            for name in (file, f"{file}.failed"):
                content = _read(os.path.join(folder, placed(name)))
                if content is not None:
                    given[name] = content
        return cells, given


def _replaced(word: str, root: str) -> str:
    """An option with its file in the place of where it was sent."""
    option, _, value = word.partition("=")
    name, equals, file = value.rpartition("=")
    return f"{option}={name}{equals}{root}{file}" if option in ("--in", "--module") and os.path.isabs(file) else word


class Batch:
    def __init__(
        self, client: Any, plan: Mapping[str, Any], procedure: str, words: list[str], modules: Iterable[Any], table: str, send: bool
    ) -> None:
        self._client, self._plan, self._procedure, self._send = client, plan, procedure, send
        self._folder = os.getcwd()
        self._modules = [os.path.abspath(module) for module in modules]
        absolute = {f"--module={os.fspath(module)}": f"--module={os.path.abspath(module)}" for module in modules}
        self._words = [absolute.get(word, word) for word in words]
        self._table = Table(table, plan["inputs"])
        self._name = uuid.uuid4().hex
        self._shared: dict[str, bytes] | None = None

    def run(self) -> _batch.Rows:
        waiting = list(range(len(self._plan["recordings"])))[::-1]
        suspects: list[int] = []
        running: dict[Any, int] = {}
        while waiting or running:
            while waiting and len(running) < self._most():
                place = waiting.pop()
                running[self._submit(place)] = place
            for future in self._finished(running):
                place = running.pop(future)
                again = self._take(place, future)
                if again is not None:
                    (suspects if again == "suspect" else waiting).append(place)
        # A recording that was there when workers were lost is run while nothing else is: then only it can be the reason.
        for place in suspects:
            again = "lost"
            while again == "lost":
                future = self._submit(place)
                self._finished({future: place})
                again = self._take(place, future)
            if again == "suspect":
                self._add(place, {"status": "crashed", "notes": "the workers that ran it were lost, time after time"})
        self._table.rewrite()
        return self._table.result()

    def _most(self) -> int:
        return max(4, 2 * sum(int(cores) for cores in self._client.ncores().values()))

    def _submit(self, place: int) -> Any:
        recording = self._plan["recordings"][place]
        task = {
            "folder": self._folder,
            "procedure": self._procedure,
            "inputs": list(zip(self._plan["inputs"], recording["inputs"])),
            "outputs": list(zip(self._plan["outputs"], recording["outputs"])),
            "words": self._words,
            "sent": self._sent(recording) if self._send else None,
        }
        key = f"zepl-{self._name}-{place}-{uuid.uuid4().hex}"
        return self._client.submit(run_recording, task, key=key, pure=False)

    def _sent(self, recording: Mapping[str, Any]) -> dict[str, bytes]:
        """Files by their absolute names; those that cannot be read are missed where they are."""
        if self._shared is None:
            self._shared = self._contents([self._procedure, *self._plan["shared"], *self._modules])
        return self._shared | self._contents(recording["inputs"])

    def _contents(self, files: Iterable[str]) -> dict[str, bytes]:
        contents = {os.path.abspath(file): _read(file) for file in files}
        return {name: content for name, content in contents.items() if content is not None}

    def _finished(self, running: Mapping[Any, int]) -> list[Any]:
        """Waits for one of them at least."""
        from distributed import TimeoutError as NotYet
        from distributed import wait

        waiting: Any = wait
        alone = 0.0
        while True:
            try:
                return list(waiting(list(running), timeout=2, return_when="FIRST_COMPLETED").done)
            except NotYet:
                began = alone or time.monotonic()
                alone = 0.0 if self._client.scheduler_info()["workers"] else began
                if alone and time.monotonic() - alone > ALONE:
                    raise RuntimeError("the cluster has no worker left; what is done is in the table") from None

    def _take(self, place: int, future: Any) -> str | None:
        """Takes what came of a recording; says "suspect" where workers were lost, and "lost" where the cluster forgot it."""
        from distributed import KilledWorker

        if future.status in ("lost", "cancelled"):
            return "lost"
        error = future.exception()
        if isinstance(error, KilledWorker):
            return "suspect"
        if error is not None:
            self._add(place, {"status": "failed", "notes": f"{type(error).__name__}: {error}"})
            return None
        cells, files = future.result()
        for name, content in files.items():
            _write(name, content)
        self._add(place, cells)
        return None

    def _add(self, place: int, cells: dict[str, str]) -> None:
        names = self._plan["recordings"][place]["inputs"]
        for number, file in enumerate(names):
            cells["file" if number == 0 else f"{self._plan['inputs'][number]}.file"] = file
        self._table.add(place, cells)


def run(
    client: Any, plan: Mapping[str, Any], procedure: Any, words: list[str], modules: Iterable[Any], table: str, send: bool
) -> _batch.Rows:
    return Batch(client, plan, os.fspath(procedure), words, modules, table, send).run()
