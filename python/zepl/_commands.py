"""The installed commands: methods of a Procedure, and functions where a command has one stream in and one out. Made from the
table of commands when the package is imported, and again when a module is loaded."""

from __future__ import annotations

import inspect
import os
import struct
import threading
from collections.abc import Callable, Sequence
from typing import Any

import numpy as np

from . import _zepl
from ._arrays import NAMES, is_vector, stream_of, type_name, with_vectors
from ._errors import RunError
from ._options import number
from ._signatures import Form, Item, forms_of, listed, signature_of, streams_of

__all__: list[str] = []
_main_thread = threading.main_thread().ident
FORMS: dict[str, list[Form]] = {}
# What is made, by its names. It is apart from this module's own names, as commands have names such as abs.
_made: dict[str, Any] = {}


class Commands:
    """Every installed command as a method."""

    def _add(self, command: str, arguments: Sequence[Any]) -> None:
        raise NotImplementedError


def _method(command: str, forms: list[Form], page: str) -> Callable[..., None]:
    def method(self: Commands, *args: Any, **named: Any) -> None:
        if named and not forms:
            raise TypeError(f"{command} has no signature that names its parameters: give them by position")
        self._add(command, listed(command, forms, args, named))

    method.__name__ = command
    method.__qualname__ = f"Procedure.{command}"
    method.__doc__ = page or f"{command}, a command of a module that has no page about it."
    first = [inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)]
    any_list = [*first, inspect.Parameter("args", inspect.Parameter.VAR_POSITIONAL)]
    method.__signature__ = (  # type: ignore[attr-defined]
        signature_of(forms, first=first) if forms else inspect.Signature(any_list)
    )
    return method


def _described(argument: Any, vectors: list[Any], words: Sequence[str]) -> tuple[Any, ...]:
    """An argument as a Call takes it; arrays are added to the vectors."""
    if isinstance(argument, str):
        return ("word" if argument in words else "text", argument)
    if is_vector(argument):
        vectors.append(argument)
        return ("vector", NAMES[argument.dtype], len(argument), len(vectors) - 1)
    return ("number", *typed_number(argument))


def _shown(described: tuple[Any, ...]) -> str:
    if described[0] == "vector":
        return f"vector {described[3] + 1}"
    return str(described[min(1, len(described) - 1)])


def typed_number(value: Any) -> tuple[Any, str]:
    """A number, and its type where it says one that is not Python's own."""
    if isinstance(value, (np.int16, np.int32, np.float32)):
        return value.item(), NAMES[value.dtype]
    return number(value), ""


def _key(value: Any) -> Any:
    """What tells an argument from others: of a float its bits, as -0.0 equals 0.0, and nan does not equal itself."""
    return struct.pack("d", value) if isinstance(value, (float, np.floating)) else value


def _wanted_types(source: str, dtype: Any) -> list[str]:
    if dtype is not None:
        return [type_name(dtype)]
    return list(dict.fromkeys([source, "double", "float", "int32", "int16"]))


def _function(command: str, forms: list[Form], page: str) -> Callable[..., Any]:
    name = command.lower()
    streams = [streams_of(form) for form in forms]
    inner = [tuple(item for item in form if item not in pair) for form, pair in zip(forms, streams) if pair]
    at = [[form.index(each) for each in pair] for form, pair in zip(forms, streams) if pair]
    source = next(pair[0] for pair in streams if pair)
    by_name: list[tuple[Item, ...]] = [(source, *form) for form in inner]
    calls: dict[Any, Any] = {}

    def prepare(samples: Any, args: Sequence[Any], dtype: Any) -> tuple[Any, list[Any]]:
        """A Call, and the vectors of this use."""
        words = _zepl.words()
        kind = NAMES[samples.dtype]
        types = _wanted_types(kind, dtype)
        failure: Exception | None = None
        for values in with_vectors(args):
            vectors: list[Any] = []
            described = [_described(each, vectors, words) for each in values]
            for form, places in zip(inner, at):
                if len(form) != len(described):
                    continue
                full = list(described)
                for place, role in sorted(zip(places, ("source", "destination"))):
                    full.insert(place, (role,))
                try:
                    return _zepl.Call(command, full, kind, types, [_shown(each) for each in full]), vectors
                except Exception as error:
                    failure = failure or error
        takes = " or ".join(str(len(form)) for form in inner)
        raise failure or TypeError(f"{name} takes {takes} arguments after the samples, and is given {len(args)}")

    def function(*args: Any, dtype: Any = None, **named: Any) -> Any:
        if named:
            values = listed(name, by_name, args, named)
            return function(*values, dtype=dtype)
        if not args:
            raise TypeError(f"{name} is given no samples")
        samples, rest = args[0], args[1:]
        if type(samples) is not np.ndarray or samples.ndim != 1 or not samples.flags.carray or samples.dtype not in NAMES:
            samples = stream_of(name, samples)
        vectors: list[Any] = []
        try:
            key = (samples.dtype, dtype, *map(_key, rest), *map(type, rest))
            call = calls.get(key)
        except TypeError:  # lists and arrays
            call, vectors = prepare(samples, rest, dtype)
            key = None
        if call is None:
            call, vectors = prepare(samples, rest, dtype)
            if len(calls) > 256:
                calls.clear()
            if key is not None:
                calls[key] = call
        result, reason, hint = call(samples, vectors, threading.get_ident() == _main_thread)
        if reason:
            shown = ", ".join(["samples", *map(repr, rest)])
            raise RunError(f"zepl.{name}({shown}): {reason}" + (f"\n  {hint}" if hint else ""), [], {}, result)
        return result

    function.__name__ = function.__qualname__ = name
    function.__module__ = "zepl"
    function.__doc__ = f"{command} on one stream: the samples in, the samples out.\n\n{page}"
    base = signature_of(by_name)
    parameters = [*base.parameters.values(), inspect.Parameter("dtype", inspect.Parameter.KEYWORD_ONLY, default=None)]
    function.__signature__ = base.replace(parameters=parameters)  # type: ignore[attr-defined]
    return function


def _install(start: int) -> None:
    for command, _, signature, page in _zepl.commands_from(start):
        forms = forms_of(signature) if signature is not None else []
        FORMS[command] = forms
        method = _method(command, forms, page)
        setattr(Commands, command, method)
        _made[command] = method
        usable = [form for form in forms if streams_of(form)]
        if usable:
            _made[command.lower()] = _function(command, usable, page)
    __all__[:] = _made


def commands() -> list[str]:
    """The names of the installed commands."""
    return sorted(FORMS)


def load_module(file: str | os.PathLike[str]) -> list[str]:
    """Loads a module of one's own and returns the names of its commands, which become methods and functions like the others."""
    before = len(_zepl.commands_from(0))
    known = len(__all__)
    _zepl.load(os.fspath(file))
    _install(before)
    import zepl

    for name in __all__[known:]:
        setattr(zepl, name, _made[name])
    return [name for name in __all__[known:] if name in FORMS]


def __getattr__(name: str) -> Any:
    if name in _made:
        return _made[name]
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


_install(0)
