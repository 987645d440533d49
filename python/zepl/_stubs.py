"""Writes the stubs of what is made from the table of commands: python3 -m zepl._stubs FILE."""

from __future__ import annotations

import inspect
import sys
from collections.abc import Iterable

from . import _commands
from ._signatures import Form, Parameter, Repeat

HEAD = '''# Made from the table of commands.
import os
from collections.abc import Sequence
from typing import Any, Union

import numpy as np

from ._arrays import Array
from ._procedure import Pipe, Trigger, Variable, Vector
from ._signatures import Form

Number = Union[int, float, np.integer[Any], np.floating[Any]]
Values = Union[Sequence[int], Sequence[float], Array]
FORMS: dict[str, list[Form]]

def typed_number(value: Any) -> tuple[Any, str]: ...
def commands() -> list[str]: ...
def load_module(file: str | os.PathLike[str]) -> list[str]: ...

class Commands:
'''


def _kinds(parameter: Parameter) -> set[str]:
    if parameter.kind == "pipe":
        return {"Pipe"}
    if parameter.kind == "trigger":
        return {"Trigger"}
    if parameter.form in ("string", "keyword"):
        return {"str"}
    if parameter.direction == "out" and parameter.kind == "storage":
        return {"Variable"} | ({"Vector"} if parameter.form != "scalars" else set())
    if parameter.form == "scalars":
        return {"Number", "Variable"}
    if parameter.form == "vectors":
        return {"Values", "Vector"}
    return {"Any"}  # it follows from another parameter


def _parameters(forms: Iterable[Form], name: str) -> list[Parameter]:
    found = []
    for form in forms:
        for item in form:
            found += [each for each in (item.group if isinstance(item, Repeat) else (item,)) if each.name == name]
    return found


def _kinds_among(parameter: Parameter, forms: list[Form]) -> set[str]:
    """Also of one that takes its kind from another."""
    if parameter.form == "typeof" and not parameter.kind:
        others = _parameters(forms, parameter.reference)
        return {kind for other in others if other is not parameter for kind in _kinds(other)}
    if parameter.form == "elementof" and parameter.kind == "storage":
        return {"Variable"} if parameter.direction == "out" else {"Number", "Variable"}
    return _kinds(parameter)


def _annotation(forms: list[Form], name: str) -> str:
    kinds = {kind for parameter in _parameters(forms, name) for kind in _kinds_among(parameter, forms)}
    return "Any" if "Any" in kinds or not kinds else " | ".join(sorted(kinds))


def _written(name: str, forms: list[Form], parameter: inspect.Parameter) -> str:
    if parameter.name in ("self",):
        return parameter.name
    if parameter.kind is inspect.Parameter.VAR_POSITIONAL:
        return f"*{parameter.name}: Any"
    if parameter.name == "dtype":
        return "dtype: Any = None"
    several = any(isinstance(item, Repeat) and parameter.name in {each.name for each in item.group}
                  for form in forms for item in form)
    kind = _annotation(forms, parameter.name)
    if several:
        kind = f"Sequence[{kind}]"
    if parameter.default is None:
        kind = "Any" if kind == "Any" else f"{kind} | None"
    return f"{parameter.name}: {kind}" + (" = None" if parameter.default is None else "")


def stub() -> str:
    methods, functions = [], []
    for command, forms in sorted(_commands.FORMS.items()):
        signature = inspect.signature(getattr(_commands, command))
        texts: list[str] = []
        starred = False
        for parameter in signature.parameters.values():
            if parameter.kind is inspect.Parameter.KEYWORD_ONLY and not starred:
                starred = True
                if not any(each.startswith("*") for each in texts):
                    texts.append("*")
            texts.append(_written(command, forms, parameter))
        methods.append(f"    def {command}({', '.join(texts)}) -> None: ...")
        name = command.lower()
        if hasattr(_commands, name):
            own = inspect.signature(getattr(_commands, name)).parameters.values()
            texts = []
            for position, parameter in enumerate(own):
                if parameter.kind is inspect.Parameter.KEYWORD_ONLY and not any(each.startswith("*") for each in texts):
                    texts.append("*")
                text = _written(command, forms, parameter)
                texts.append(text.split(":")[0] + ": Values" if position == 0 else text.replace(" | Variable", "").replace(" | Vector", ""))
            functions.append(f"def {name}({', '.join(texts)}) -> Array: ...")
    aliases = [f"{command} = Commands.{command}" for command in sorted(_commands.FORMS)]
    return HEAD + "\n".join([*methods, "", *functions, *aliases, ""])


if __name__ == "__main__":
    text = stub()
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        file.write(text)
