"""Procedures that are built in code, commands as functions, live sessions, and what tools see of them."""

import inspect
import subprocess
from pathlib import Path

import numpy as np
import pytest

import zepl
from zepl import _stubs

SAMPLES = np.array([1, -2, 3, -4, 5, -6], np.int16)


def procedure(**options):
    p = zepl.Procedure(**options)
    return p, p.pipe("x", np.int16, SAMPLES), p.pipe("y", np.int16)


def test_what_no_task_reads_is_returned():
    p, x, y = procedure(rate=100)
    z = p.pipe("z", np.int16)
    p.OFFSET(x, 5, dest=y)
    p.ABS(src=y, dest=z)
    d = p.expression("d", float, f"{z} / 2")
    e = p.trigger("e")
    p.TOGGLE(y, "inside", 8, 10, "outside", 8, 10, e)
    result = p.run()
    assert list(result) == ["d", "e"]
    assert result["d"].tolist() == (abs(SAMPLES + 5) / 2).tolist() and result.triggers["e"].tolist() == [2, 3, 4, 5]
    assert p.run(collect=[z])["z"].tolist() == abs(SAMPLES + 5).tolist()
    assert str(d) == "d" and result.rates["d"] == 100


@pytest.mark.parametrize(
    "arguments",
    [lambda p: (np.int16(5),), lambda p: (p.variable("v", np.int16, 5),), lambda p: (True + 4,)],
)
def test_numbers_and_variables_are_arguments(arguments):
    p, x, y = procedure()
    p.OFFSET(x, *arguments(p), y)
    assert p.run()["y"].tolist() == (SAMPLES + 5).tolist()


def test_arrays_of_pipes_and_vectors():
    p = zepl.Procedure()
    a, b = p.pipe("a", np.float64, np.arange(6.0).reshape(3, 2), count=2), p.pipe("b", np.float64, count=2)
    m = p.pipe("m", np.float64)
    p.SCALE(a, 0, 2.0, 1.0, b)
    p.BMERGEF(*a, 1, m)
    assert p.run()["b"].tolist() == [[0, 2], [4, 6], [8, 10]]
    assert str(a[2]) == "a[2]" and len(a) == 2
    with pytest.raises(IndexError):
        a[3]


def test_mistakes_name_the_call():
    p, x, y = procedure()
    p.OFFSET(x, "five", y)
    with pytest.raises(zepl.ProcedureError) as raised:
        p.run()
    assert "test_procedure.py:" in str(raised.value) and 'p.OFFSET(x, "five", y)' in str(raised.value)
    assert raised.value.diagnostics[0].call in str(raised.value)
    p, x, y = procedure()
    for call, said in (
        (lambda: p.OFFSET(x, 5, target=y), "OFFSET takes (src, offset, dest)"),
        (lambda: p.OFFSET(x, 5j, y), "is no number"),
        (lambda: p.OFFSET(zepl.Procedure().pipe("q", "int16"), 5, y), "belongs to another procedure"),
        (lambda: p.pipe("q", int), "no element type"),
        (lambda: p.pipe("a b", float), "is no name"),
        (lambda: p.pipe("q", np.int16, np.ones(3)), "convert='rounded'"),
    ):
        with pytest.raises((TypeError, ValueError)) as refused:
            call()
        assert said in str(refused.value)


def test_a_generator_needs_a_limit():
    p = zepl.Procedure()
    y = p.pipe("y", np.int16, limit=4)
    p.SQUAREWAVE(peak=100, period=2, dest=y)
    assert p.run()["y"].tolist() == [100, -100, 100, -100]


@pytest.mark.parametrize("dtype", [np.int16, np.int32, np.float32, np.float64])
def test_functions_agree_with_procedures(dtype):
    samples = (np.arange(5000) % 201 - 100).astype(dtype)
    for function, arguments, command in (
        (zepl.abs, (), "ABS (x, y)"),
        (zepl.offset, (5,), "OFFSET (x, 5, y)"),
        (zepl.average, (7,), "AVERAGE (x, 7, y)"),
        (zepl.range, ("inside", -5, 5), "RANGE (x, inside, -5, 5, y)"),
    ):
        name = {"int16": "int16", "int32": "int32", "float32": "float", "float64": "double"}[np.dtype(dtype).name]
        text = f"pipe x : {name}\npipe y : {name} to \"y.npy\"\n{command}\n"
        result = function(samples, *arguments)
        assert result.dtype == dtype and np.array_equal(result, zepl.run(text, {"x": samples})["y"])
        assert np.array_equal(result, function(samples, *arguments))


def test_functions_refuse_what_does_not_fit():
    for call, said in (
        (lambda: zepl.offset(SAMPLES.astype(np.int64), 5), "int64 samples"),
        (lambda: zepl.offset(SAMPLES.reshape(3, 2), 5), "2 channels"),
        (lambda: zepl.offset(SAMPLES, "five"), "OFFSET"),
        (lambda: zepl.offset(SAMPLES), "takes 1 arguments after the samples"),
        (lambda: zepl.offset(SAMPLES, 5, dtype=np.int32), "dest"),
        (lambda: zepl.average(SAMPLES, 0), "zepl.average(samples, 0)"),
    ):
        with pytest.raises((TypeError, ValueError, zepl.Error)) as raised:
            call()
        assert said in str(raised.value)
    assert zepl.offset(SAMPLES, offset=5).tolist() == zepl.offset(src=SAMPLES, offset=5).tolist()
    assert zepl.offset(SAMPLES[:0], 5).size == 0


def by_procedure(samples, abscissa, ordinate):
    p = zepl.Procedure()
    y = p.pipe("y", samples.dtype)
    p.INTERP(p.pipe("x", samples.dtype, samples), abscissa, ordinate, y)
    return p.run()["y"]


@pytest.mark.parametrize("call", [zepl.interp, by_procedure])
@pytest.mark.parametrize(
    "given, dtype",
    [([0, 1, 2], np.float64), ([0.0, 1, 2], np.float32), ([-32768, 0, 32767], np.int16), ((0, 40000, 80000), np.int32),
     (np.array([0, 1, 2]), np.int16), (np.array([0, 1, 2], ">f8"), np.float64), (np.arange(6, dtype=np.int32)[::2], np.int32),
     (np.array([[0], [1], [2]], np.float16), np.float32)], ids=str,
)
def test_lists_and_arrays_stand_for_vectors(call, given, dtype):
    points = np.asarray(given).reshape(-1).astype(dtype)
    assert call(points, given, given).tolist() == points.tolist()


@pytest.mark.parametrize("call", [zepl.interp, by_procedure])
@pytest.mark.parametrize(
    "given, said",
    [(np.ma.array([0, 1], np.int16, mask=[0, 1]), "x.filled(0)"), ([0, 1j], "real and the imaginary part"),
     (["a", "b"], "samples are numbers"), (np.zeros((2, 2), np.int16), "shape (2, 2)"),
     (np.array([-(2**63), 0]), "does not hold -9223372036854775808"), (np.array([0, 40000]), "a vector of int32"),
     (np.array([], np.int64), "not equally long")], ids=str,
)
def test_vectors_refuse_what_arrays_refuse(call, given, said):
    with pytest.raises((TypeError, ValueError, zepl.Error)) as raised:
        call(SAMPLES, given, [0, 1])
    assert said in str(raised.value)


def test_calls_that_differ_in_the_sign_of_zero_differ():
    zero = np.array([-0.0])
    signs = [bool(np.signbit(zepl.offset(zero, offset)[0])) for offset in (0.0, -0.0, 0.0, np.float64(-0.0))]
    assert signs == [False, True, False, True]


def test_every_command_has_a_method_that_agrees_with_its_page():
    assert len(zepl.commands()) >= 81
    for name in zepl.commands():
        method = getattr(zepl, name)
        assert method is getattr(zepl.Procedure, name) and method.__doc__.startswith(name)
        assert "self" in inspect.signature(method).parameters
    assert str(inspect.signature(zepl.OFFSET)) == "(self, /, src, offset, dest)"
    assert str(inspect.signature(zepl.offset)) == "(src, offset, *, dtype=None)"


def test_the_stubs_agree_with_the_package(tmp_path):
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np\nimport zepl\np = zepl.Procedure(rate=360)\nx = p.pipe('x', np.int16, [1, 2])\n"
        "y = p.pipe('y', np.int16)\np.OFFSET(x, 5, y)\nreveal_type(zepl.offset(np.zeros(3), 5))\np.OFFSET(x, 5, 7)\n"
    )
    package = Path(zepl.__file__).parent
    checked = subprocess.run(
        ["/usr/bin/mypy", "--strict", "--cache-dir", str(tmp_path), "zepl", str(user)], cwd=package.parent, capture_output=True, text=True
    )
    assert "Argument 3 to \"OFFSET\"" in checked.stdout and "Found 1 error" in checked.stdout, checked.stdout
    assert _stubs.stub() == (package / "_commands.pyi").read_text()


def test_a_live_session_takes_samples_and_values():
    p = zepl.Procedure()
    x, y, v = p.pipe("x", np.int16), p.pipe("y", np.int16), p.variable("v", np.int16, 5)
    p.OFFSET(x, v, y)
    with p.start(live=[x]) as session:
        tap = session.watch("y", 100)
        assert session.push("x", SAMPLES) == 6
        while session.snapshot()["pipes"][1]["written"] < 6:
            pass
        session.pause()
        assert session.snapshot()["phase"] == "paused" and session.snapshot()["current"]
        session.set("v", 10)
        session.push("x", [1])
        held = session.snapshot()
        assert (held["phase"], held["pipes"][1]["written"], held["variables"]["v"]) == ("paused", 6, 10)
    assert session.result["y"].tolist() == [*(SAMPLES + 5), 11]
    assert session.snapshot()["phase"] == "ended"
    seen = tap.take()
    assert seen.samples.tolist() == session.result["y"].tolist() and seen.ended
    with pytest.raises(KeyError):
        session.push("z", SAMPLES)


PAIR = "pipe x[2] : int16\nvariable v[2] : int16 = [1, 2]\npipe y[2] : int16 to \"y.npy\"\nOFFSET (x, v, y)\n"


@pytest.mark.parametrize(
    "call, said",
    [
        (lambda: zepl.start(PAIR, live=["x"]), "its elements are `x[1]` to `x[2]`"),
        (lambda: zepl.start(PAIR, live={"x[1]": -1}), "live['x[1]']=-1: 1 to"),
        (lambda: zepl.start(PAIR, {"x": SAMPLES.reshape(3, 2)}, live=["x[1]"]), "live has `x[1]`, and inputs has `x` as well"),
        (lambda: procedure()[0].start(live=["x"]), "live has `x`, and the procedure has samples for `x` as well"),
        (lambda: zepl.start(PAIR).watch("y[1]", -1), "samples=-1: 0 to"), (lambda: zepl.start(PAIR).watch("y[1]", columns=5), "per_column="),
        (lambda: zepl.start(PAIR).set("v", 1), "its elements are `v[1]` to `v[2]`"),
        (lambda: zepl.start(PAIR).set("v[1]", "a"), "'a' is no number"),
    ],
)
def test_live_sessions_refuse_what_does_not_fit(call, said):
    with pytest.raises((TypeError, ValueError, zepl.Error)) as raised:
        call()
    assert said in str(raised.value)


def test_a_started_procedure_leaves_the_file_of_a_live_input_aside():
    text = "pipe x : int16 from \"none.wav\"\npipe y : int16 to \"y.npy\"\nABS (x, y)\n"
    with zepl.start(text, live="x") as session:
        session.push("x", SAMPLES)
    assert session.result["y"].tolist() == abs(SAMPLES).tolist()
