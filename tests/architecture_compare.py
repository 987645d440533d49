"""Compares what two runs wrote, file by file: the same bytes, or another NaN in the same places, or other values."""

import array
import collections
import re

FLOATS = {"float": ("I", 0x7F800000, 31), "double": ("Q", 0x7FF0000000000000, 63)}

# One file that is not the same: what it is of, the type of its elements, how many these are, how many are NaNs on both sides
# with other bits, how many differ otherwise, and by how many units in the last place at most.
Difference = collections.namedtuple("Difference", "group type file elements nans others units")


def files_in(folder):
    return {path.relative_to(folder): path for path in folder.rglob("*") if path.is_file() and not path.is_symlink()}


def type_of(path):
    """What the elements of an output are, as its procedure or its name says; "bytes" where only the whole counts."""
    if path.suffix[1:] in FLOATS:
        return path.suffix[1:]
    procedure = path.with_name("procedure.zp")
    if path.suffix == ".bin" and procedure.exists():
        declared = re.search(rf'^pipe\s+\w+\s*:\s*(\w+).* to "{path.name}"', procedure.read_text(), re.M)
        return declared[1]
    return "bytes"


def group_of(relative):
    """What wrote a file: the example, the command of a determinism case, or the file of a procedure."""
    kind, name = relative.parts[:2]
    return f"{kind} {name.split('-')[0]}"


def ordered(word, sign):
    """Bits as a number that rises with the value, one for each representable number."""
    return word if word >> sign == 0 else (1 << sign) - word


def float_difference(kind, expected, got):
    """Counts of elements, other NaNs and other values, and the greatest distance."""
    code, infinity, sign = FLOATS[kind]
    magnitude = (1 << sign) - 1
    nans = others = units = 0
    expected, got = array.array(code, expected), array.array(code, got)
    for one, other in zip(expected, got):
        if one == other:
            continue
        if one & magnitude > infinity and other & magnitude > infinity:
            nans += 1
        else:
            others += 1
            units = max(units, abs(ordered(one, sign) - ordered(other, sign)))
    return len(expected), nans, others, units


def difference(relative, expected, got):
    """None where the files are the same. Either can be missing."""
    group, kind = group_of(relative), type_of(expected or got)
    before, after = (path.read_bytes() if path else None for path in (expected, got))
    if before == after:
        return None
    if before is None or after is None or kind not in FLOATS or len(before) != len(after):
        return Difference(group, kind, relative.name, 1, 0, 1, None)
    return Difference(group, kind, relative.name, *float_difference(kind, before, after))


def folders(expected, got):
    """How many files there are on either side, and the differences of those that are not the same."""
    before, after = files_in(expected), files_in(got)
    names = sorted(before.keys() | after.keys())
    found = (difference(name, before.get(name), after.get(name)) for name in names)
    return len(names), [one for one in found if one is not None]
