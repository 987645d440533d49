"""Arrays as streams take them: which types, which shapes, and what is converted."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from typing import Any

import numpy as np
from numpy.typing import NDArray

Array = NDArray[Any]

DTYPES: dict[str, np.dtype[Any]] = {
    "int16": np.dtype(np.int16),
    "int32": np.dtype(np.int32),
    "float": np.dtype(np.float32),
    "double": np.dtype(np.float64),
}
NAMES = {dtype: name for name, dtype in DTYPES.items()}
ALLOWED = "int16, int32, float32 or float64"


def type_name(given: Any) -> str:
    """The element type that a name, a NumPy type or a Python type stands for."""
    if isinstance(given, str) and given in DTYPES:
        return given
    if given is not int:  # whose width nobody said
        try:
            return NAMES[np.dtype(given)]
        except (TypeError, KeyError):
            pass
    raise TypeError(f"{given!r} is no element type: {ALLOWED} are")


def _numbers(name: str, given: Any) -> Array:
    if isinstance(given, np.ma.MaskedArray):
        raise TypeError(f"`{name}` is given a masked array: fill what is masked first, x.filled(0)")
    array = np.asarray(given)
    if array.dtype.kind == "c":
        part = "float32" if array.dtype.itemsize == 8 else "float64"
        raise TypeError(
            f"`{name}` is given {array.dtype} samples: a stream carries the real and the imaginary part in turn, "
            f"x.view(np.{part}) of a contiguous array"
        )
    if array.dtype.kind not in "biuf" or array.dtype.itemsize > 8:
        raise TypeError(f"`{name}` is given an array of {array.dtype}, and samples are numbers: {ALLOWED}")
    return array.astype(array.dtype.newbyteorder("="), copy=False)


def _exactly(name: str, array: Array, wanted: np.dtype[Any]) -> Array:
    """Integers in another type, which must hold every one of them."""
    if array.dtype.kind == "b":
        return array.astype(wanted)
    with np.errstate(invalid="ignore"):
        converted = array.astype(wanted)
        # An integer that a float rounds up to 2^63 has no way back.
        same = (converted.astype(array.dtype) == array) & ((converted < 0) == (array < 0))
    _refuse_some(name, array, wanted, ~same)
    return converted


def _narrowed(name: str, array: Array, wanted: np.dtype[Any]) -> Array:
    """Floats in a type that rounds them, and has to hold each."""
    with np.errstate(over="ignore"):
        converted = array.astype(wanted)
    _refuse_some(name, array, wanted, np.isinf(converted) & np.isfinite(array))
    return converted


def _refuse_some(name: str, array: Array, wanted: np.dtype[Any], lost: Array) -> None:
    """Refuses samples that are lost in the wanted type."""
    if not lost.any():
        return
    if wanted.kind == "i":
        limits = np.iinfo(wanted)
        remedy = f"declare a wider type, or bring the samples into range, x.clip({limits.min}, {limits.max})"
    else:
        remedy = "declare it double" if wanted == np.float32 else f"x.astype(np.{wanted}) rounds the samples"
    first = np.flatnonzero(lost.reshape(-1))[0]
    raise ValueError(
        f"`{name}` is of {NAMES[wanted]}, which does not hold {array.reshape(-1)[first]} (sample {first}, counted from 0): {remedy}"
    )


def _shaped(name: str, array: Array) -> Array:
    if array.ndim == 0:
        raise TypeError(f"`{name}` is given a single number, and takes an array of samples")
    if array.ndim > 2 or (array.ndim == 2 and array.shape[1] == 0):
        raise ValueError(
            f"`{name}` is given an array of shape {array.shape}: samples have the shape (frames,) or (frames, channels)"
        )
    return array[:, 0] if array.ndim == 2 and array.shape[1] == 1 else array


def _lendable(array: Array) -> Array:
    """The array itself where its elements can be read in place, else a copy."""
    steps = zip(array.strides, array.shape)
    regular = all(step % array.itemsize == 0 and (step != 0 or size <= 1) for step, size in steps)
    if array.ndim == 2 and array.strides[0] == 0:
        regular = False
    return array if regular and array.flags.aligned else array.copy()


def samples_for(name: str, given: Any, kind: str, converts: bool = False) -> Array:
    """The samples as those of a pipe or vector of the type `kind`. An array that has this type, or one that the procedure
    asks to convert, is lent as it is; integers are converted where the type holds each of them."""
    array = _shaped(name, _numbers(name, given))
    wanted = DTYPES[kind]
    if array.dtype == wanted or (converts and array.dtype in NAMES):
        return _lendable(array)
    if array.size == 0:
        return array.astype(wanted)
    if converts:
        raise TypeError(f"`{name}` is to be converted, from {ALLOWED}, and not from {array.dtype}")
    if array.dtype.kind in "biu":
        return _exactly(name, array, wanted)
    if wanted.kind == "f" and (array.dtype.itemsize < wanted.itemsize or not isinstance(given, np.ndarray)):
        return _narrowed(name, array, wanted)
    raise TypeError(
        f"`{name}` is of {kind}, and {array.dtype} samples do not fit it without loss: declare it double, ask for a "
        f"conversion (`from FILE convert rounded`, or convert='rounded'), or convert them, x.astype(np.{wanted})"
    )


def is_vector(given: Any) -> bool:
    """Whether an argument stands for a vector."""
    return isinstance(given, (list, tuple)) or (isinstance(given, np.ndarray) and given.ndim > 0)


def vector_of(given: Any) -> Array:
    """What stands for a vector in a list of arguments. It has the array's type; other integers are int16 where that holds all
    of them and else int32."""
    array = _numbers("vector", given)
    if array.ndim == 2 and array.shape[1] != 1:
        raise ValueError(f"`vector` is given an array of shape {array.shape}: a vector has the shape (elements,)")
    if array.dtype in NAMES:
        return np.ascontiguousarray(_shaped("vector", array))
    if array.dtype.kind == "f":
        return samples_for("vector", array, "float")
    limits = np.iinfo(np.int16)
    small = array.size == 0 or (array.min() >= limits.min and array.max() <= limits.max)
    return samples_for("vector", array, "int16" if small else "int32")


def with_vectors(arguments: Sequence[Any]) -> Iterator[list[Any]]:
    """The arguments with arrays in place of lists: as vector_of has them, then lists, which have no type of their own, also in
    other types that hold them."""
    yield [vector_of(each) if is_vector(each) else each for each in arguments]
    if not any(isinstance(each, (list, tuple)) for each in arguments):
        return
    for kind in ("double", "float", "int32", "int16"):
        try:
            yield [
                np.ascontiguousarray(samples_for("vector", each, kind)) if isinstance(each, (list, tuple))
                else vector_of(each) if is_vector(each) else each
                for each in arguments
            ]
        except (TypeError, ValueError):
            pass


def stream_of(command: str, given: Any) -> Array:
    """The samples that a command as a function is given: their type is the stream's."""
    array = _shaped(command, _numbers(command, given))
    if array.dtype not in NAMES:
        raise TypeError(f"{command} is given {array.dtype} samples: {ALLOWED} are types of streams, as x.astype(np.int32)")
    if array.ndim == 2:
        raise ValueError(f"{command} takes one stream, and is given {array.shape[1]} channels: call it for each, x[:, 0]")
    return np.ascontiguousarray(array)
