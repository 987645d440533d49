"""What commands take, from the signatures of the command table: the forms of their lists, and these as Python has them."""

from __future__ import annotations

import inspect
import itertools
import keyword
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import Any, Union

MOST_FORMS = 256


@dataclass(frozen=True)
class Parameter:
    name: str
    direction: str  # "in", "out" or "const"
    kind: str  # "pipe", "storage", "trigger", or "" where it follows from the type
    form: str  # of its type: "scalars", "vectors", "string", "keyword", "typeof", ...
    scalars: tuple[str, ...]
    reference: str
    words: tuple[str, ...]


@dataclass(frozen=True)
class Repeat:
    """Parameters that come once or more, one group after the other."""

    group: tuple[Parameter, ...]


Item = Union[Parameter, Repeat]
Form = tuple[Item, ...]


def _parameter(direction: str, kind: str, described: Mapping[str, Any], name: str) -> Parameter:
    safe = name + "_" if keyword.iskeyword(name) else name
    scalars, words = tuple(described["scalars"]), tuple(described["words"])
    for choice in described["choices"]:
        scalars += tuple(choice["scalars"])
    if described["set"] == "region":
        words = ("inside", "outside")
    return Parameter(safe, direction, kind, described["form"], scalars, described["reference"], words)


def forms_of(node: tuple[Any, ...]) -> list[Form]:
    """Each list that the signature admits, repetitions apart."""
    shape = node[0]
    if shape == "parameter":
        return [(_parameter(*node[1:]),)]
    children = node[1]
    if shape == "alternatives":
        return [form for child in children for form in forms_of(child)][:MOST_FORMS]
    combined = itertools.product(*(forms_of(child) for child in children))
    sequence: list[Form] = [tuple(itertools.chain(*parts)) for parts in itertools.islice(combined, MOST_FORMS)]
    if shape == "sequence":
        return sequence
    if shape == "optional":
        return [(), *sequence]
    groups: list[Form] = [(Repeat(tuple(item for item in form if isinstance(item, Parameter))),) for form in sequence]
    return [(), *groups] if shape == "zeroOrMore" else groups


def names_of(form: Form) -> list[str]:
    names: list[str] = []
    for item in form:
        for parameter in item.group if isinstance(item, Repeat) else (item,):
            names.append(parameter.name)
    return names


def _leading(forms: Sequence[Form]) -> int:
    """How many parameters all forms begin with."""
    count = 0
    for items in zip(*forms):
        if any(isinstance(item, Repeat) or item.name != items[0].name for item in items):
            break
        count += 1
    names = names_of(forms[0][:count])
    return count if len(set(names)) == count else 0


def signature_of(forms: Sequence[Form], *, leave_out: str = "", first: Sequence[inspect.Parameter] = ()) -> inspect.Signature:
    """As Python can say it: what all forms begin with by position, the rest by name, or by position after it."""
    shown = [tuple(item for item in form if leave_out not in names_of((item,))) for form in forms] if leave_out else list(forms)
    parameters = list(first)
    leading = _leading(shown)
    for item in shown[0][:leading]:
        assert isinstance(item, Parameter)
        parameters.append(inspect.Parameter(item.name, inspect.Parameter.POSITIONAL_OR_KEYWORD))
    rest = list(dict.fromkeys(name for form in shown for name in names_of(form[leading:])))
    longest = max(shown, key=len)
    if all(names_of(form) == names_of(longest)[: len(form)] for form in shown) and not any(isinstance(i, Repeat) for i in longest):
        for name in rest:
            parameters.append(inspect.Parameter(name, inspect.Parameter.POSITIONAL_OR_KEYWORD, default=None))
    elif rest:
        parameters.append(inspect.Parameter("args", inspect.Parameter.VAR_POSITIONAL))
        taken = {parameter.name for parameter in parameters}
        for name in rest:
            if name not in taken:
                parameters.append(inspect.Parameter(name, inspect.Parameter.KEYWORD_ONLY, default=None))
    return inspect.Signature(parameters)


def _listed(form: Form, args: Sequence[Any], named: Mapping[str, Any]) -> list[Any] | None:
    """The arguments in the form's order; nothing where they are not its."""
    given, left, values = list(args), dict(named), []
    for item in form:
        if isinstance(item, Parameter):
            if given:
                values.append(given.pop(0))
            elif item.name in left:
                values.append(left.pop(item.name))
            else:
                return None
            continue
        lists = [left.pop(parameter.name, None) for parameter in item.group]
        if given or any(not isinstance(each, (list, tuple)) for each in lists):
            return None
        values.extend(itertools.chain(*zip(*lists)))
    return values if not given and not left else None


def listed(command: str, forms: Sequence[Form], args: Sequence[Any], named: Mapping[str, Any]) -> list[Any]:
    """The arguments of a call as the command's list has them."""
    wanted = {name: value for name, value in named.items() if value is not None}
    if not wanted:
        return list(args)
    for form in forms:
        values = _listed(form, args, wanted)
        if values is not None:
            return values
    takes = " or ".join(f"({', '.join(text_of(form))})" for form in forms[:8])
    raise TypeError(f"{command} takes {takes}, and is given {len(args)} by position and {', '.join(wanted)} by name")


def text_of(form: Form) -> list[str]:
    return [item.name if isinstance(item, Parameter) else f"{', '.join(names_of((item,)))}..." for item in form]


def streams_of(form: Form) -> tuple[Parameter, Parameter] | None:
    """The stream in and the stream out of a form that has just one of each and otherwise values."""
    if any(isinstance(item, Repeat) for item in form):
        return None
    parameters = [item for item in form if isinstance(item, Parameter)]
    pipes = {each.name for each in parameters if each.kind == "pipe"}

    def is_pipe(each: Parameter) -> bool:
        return each.kind == "pipe" or (not each.kind and each.form == "typeof" and each.reference in pipes)

    streams = [each for each in parameters if is_pipe(each)]
    ins = [each for each in streams if each.direction != "out"]
    outs = [each for each in streams if each.direction == "out"]
    others = [each for each in parameters if not is_pipe(each)]
    if len(ins) != 1 or len(outs) != 1 or any(each.kind == "trigger" or each.direction == "out" for each in others):
        return None
    return ins[0], outs[0]
