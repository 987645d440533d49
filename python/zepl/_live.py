"""Sessions that run while samples are pushed, values are set and streams are watched."""

from __future__ import annotations

import threading
from collections.abc import Iterable, Mapping
from dataclasses import dataclass
from types import TracebackType
from typing import Any

from . import _options, _run, _zepl
from ._arrays import Array, samples_for
from ._run import Prepared, Result, Source

CAPACITY = 65536


@dataclass(frozen=True)
class Watched:
    """What has come since the last look. `first` is the position in the pipe of the first of the `samples`; `least` and
    `greatest` have a value for each column, from position `first_column` on; `ended` says that nothing more comes."""

    first: int
    samples: Array
    first_column: int
    least: Array
    greatest: Array
    ended: bool


def _on_main() -> bool:
    return threading.current_thread() is threading.main_thread()


class Live:
    """A session that runs in a thread of its own, as zepl.start and Procedure.start give it.

        with zepl.start("monitor.zp", live=["x"]) as session:
            session.push("x", samples)
            session.set("gain", 2)
        result = session.result
    """

    def __init__(self, ready: Prepared, live: Mapping[str, int]) -> None:
        ready.refuse()
        self._ready = ready
        self._result: Result | None = None
        self._inputs = {name: _zepl.feed_live(ready.run, name, capacity, 1) for name, capacity in live.items()}
        ready.run.start()

    def push(self, name: str, samples: Any, *, wait: bool = True) -> int:
        """Gives samples to a live input and returns how many it took: all, once there is room for them, or with wait=False
        what fits now; fewer once the run has ended. Threads that push to one input take turns, each with
        all of its samples; with wait=False nothing is taken while another thread waits."""
        pusher = self._pusher(name)
        array = samples_for(name, samples, pusher.type)
        if array.ndim != 1:
            raise ValueError(f"`{name}` takes one stream, and is given {array.shape[1]} channels")
        return int(pusher.push(array if array.flags.c_contiguous else array.copy(), wait, _on_main()))

    def finish(self, name: str | None = None) -> None:
        """Nothing more comes: to that input, or to any."""
        for pusher in self._inputs.values() if name is None else [self._pusher(name)]:
            pusher.finish()

    def _pusher(self, name: str) -> Any:
        if name not in self._inputs:
            raise KeyError(f"`{name}` is no live input: {', '.join(self._inputs) or 'there is none'}")
        return self._inputs[name]

    def set(self, name: str, value: Any) -> None:
        """Gives a variable a value, from the end of the present round on."""
        _zepl.set_value(self._ready.run, name, _options.number(value))

    def watch(self, name: str, samples: int = 0, *, columns: int = 0, per_column: int = 0) -> Watch:
        """Looks at what is written to a pipe, from now on: the last `samples`, or the least and the greatest of each of the
        last `columns` of `per_column` samples. It never holds the stream up."""
        numbers = {"samples": samples, "columns": columns, "per_column": per_column}
        sizes = [_options.whole(option, value) for option, value in numbers.items()]
        if columns > 0 and per_column == 0:
            raise ValueError(f"columns={columns}: give the samples of a column as well, per_column=")
        return Watch(_zepl.watch(self._ready.run, name, *sizes))

    def watch_events(self, name: str, events: int = 1000) -> WatchEvents:
        """The same for the events of a trigger: the last so many between two looks."""
        return WatchEvents(_zepl.watch_trigger(self._ready.run, name, _options.whole("events", events, 1)))

    def snapshot(self) -> dict[str, Any]:
        """How the run stands: tasks with what they wait for, pipes, values of variables. `current` is False where no
        round ended in time, so that this is how it stood before."""
        return dict(_zepl.snapshot(self._ready.run))

    def pause(self) -> None:
        """Holds the run until resume(), or the end of a `with`: what is pushed waits as far as there is room, values can be set."""
        _zepl.set_paused(self._ready.run, True)

    def resume(self) -> None:
        """Lets a paused run continue."""
        _zepl.set_paused(self._ready.run, False)

    def stop(self) -> None:
        """Ends the run in order, wherever it is."""
        self._ready.run.request_stop()

    def wait(self) -> Result:
        """Waits for the end and returns the result, or raises what the run ended with. Live inputs are to be finished first."""
        self._ready.run.wait(_on_main())
        if self._result is None:
            self._result = self._ready.result()
        return self._result

    @property
    def result(self) -> Result:
        return self.wait()

    def __enter__(self) -> Live:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        if kind is not None:
            self.stop()
        self.resume()
        self.finish()
        if kind is None:
            self.wait()


class Watch:
    """A look at a pipe: take() gives what has come since the last one."""

    def __init__(self, tap: Any) -> None:
        self._tap = tap

    def take(self) -> Watched:
        return Watched(*self._tap.take())


class WatchEvents:
    """A look at a trigger: take() gives the number of events before, the positions that came, and whether the run has ended."""

    def __init__(self, tap: Any) -> None:
        self._tap = tap

    def take(self) -> tuple[int, Array, bool]:
        first, positions, ended = self._tap.take()
        return first, positions, ended


def capacities(live: Iterable[Any] | Mapping[Any, int], given: Iterable[str], has: str) -> dict[str, int]:
    """How many samples wait at most, by the names of live inputs, none of which is given something else to read."""
    if isinstance(live, str):
        live = [live]
    wanted = {str(name): live[name] if isinstance(live, Mapping) else CAPACITY for name in live}
    given = list(given)
    for name, capacity in wanted.items():
        _options.whole(f"live[{name!r}]", capacity, 1)
        for other in given:
            if other in (name, name.partition("[")[0]) or other.partition("[")[0] == name:
                raise ValueError(f"live has `{name}`, and {has} `{other}` as well: leave out one of the two")
    return wanted


def start(
    procedure: Source,
    inputs: Mapping[str, Any] | None = None,
    *,
    live: Iterable[str] | Mapping[str, int] = (),
    set: Mapping[str, Any] | None = None,
    files: bool = False,
    out: Mapping[str, Source] | None = None,
    collect: Iterable[str] | Mapping[str, int | None] = (),
    **more: Any,
) -> Live:
    """Starts a procedure in a thread of its own. `live` names the pipes that push() feeds, in place of their files; as a dict
    with how many samples wait at most. The other options are those of zepl.run."""
    wanted = capacities(live, inputs or {}, "inputs has")
    options = _run.options_of(set, files, out, collect, **more) | {"fed": {name for name in wanted}}
    return Live(_run.prepared(procedure, inputs, options), wanted)
