"""Procedures on arrays: what goes in, what comes out, and what is refused."""

import os
import pickle
import signal
import threading
import tracemalloc

import numpy as np
import pytest

import zepl

OFFSET = "pipe x : int16\npipe y : int16 to \"y.npy\"\nOFFSET (x, 5, y)\n"
SAMPLES = np.array([1, -2, 3, -4, 5, -6], np.int16)


def taken(samples, type="int16", clauses=""):
    text = f"pipe x : {type}{clauses}\npipe y : {type} to \"y.npy\"\nREPLICATE (x, 1, y)\n"
    return zepl.run(text, {"x": samples})["y"]


@pytest.mark.parametrize(
    "samples, type, clauses, expected",
    [
        ([1, 2, 3], "int16", "", [1, 2, 3]),
        ([0.1, 2], "float", "", np.array([0.1, 2], np.float32)),
        ([True, False], "int16", "", [1, 0]),
        ([], "int32", "", []),
        (np.array([], np.complex64).real, "double", "", []),
        (SAMPLES[::-2], "int16", "", [-6, -4, -2]),
        (SAMPLES.astype(">i2"), "int16", "", SAMPLES),
        (SAMPLES.astype(np.int64), "int16", "", SAMPLES),
        (np.array([255], np.uint8), "float", "", [255]),
        (np.array([1.5], np.float16), "double", "", [1.5]),
        (np.broadcast_to(np.int16(7), 5), "int16", "", [7] * 5),
        (np.zeros(3, [("a", "i1"), ("b", "<i2")])["b"], "int16", "", [0] * 3),
        (SAMPLES.reshape(3, 2), "int16", " interleaved 2", SAMPLES),
        (SAMPLES.reshape(2, 3).T, "int16", " interleaved 2", [1, -4, -2, 5, 3, -6]),
        (SAMPLES.reshape(3, 2), "int16", " from \"x.wav\" channel 2", [-2, -4, -6]),
        (SAMPLES.reshape(6, 1), "int16", "", SAMPLES),
        (np.array([0.5, 1.5]), "int16", " from \"x.wav\" convert rounded", [0, 2]),
        (SAMPLES[:0], "int16", "", []),
    ],
    ids=str,
)
def test_arrays_are_taken_in_every_layout_that_can_be_said(samples, type, clauses, expected):
    assert taken(samples, type, clauses).tolist() == np.asarray(expected).tolist()


@pytest.mark.parametrize(
    "samples, type, error, said",
    [
        (np.ones(2, np.complex64), "float", TypeError, "x.view(np.float32)"),
        (np.array(["a"]), "float", TypeError, "samples are numbers"),
        (np.array([None, 1]), "float", TypeError, "array of object"),
        (np.ma.array([1, 2], mask=[0, 1]), "int16", TypeError, "x.filled(0)"),
        (np.array([1, 40000]), "int16", ValueError, "does not hold 40000 (sample 1,"),
        (np.array([2**31]), "int32", ValueError, "x.clip(-2147483648, 2147483647)"),
        ([0.1, 1e300], "float", ValueError, "does not hold 1e+300 (sample 1, counted from 0): declare it double"),
        (np.array([2**53 + 1]), "double", ValueError, "does not hold 9007199254740993 (sample 0, counted from 0): x.astype(np.float64)"),
        (np.array([2**64 - 1], np.uint64), "double", ValueError, "does not hold 18446744073709551615"),
        (np.array([2**63 - 1]), "double", ValueError, "does not hold 9223372036854775807"),
        (np.ones(2), "float", TypeError, "x.astype(np.float32)"),
        (np.ones(2), "int16", TypeError, "convert='rounded'"),
        (np.int16(5), "int16", TypeError, "a single number"),
        (np.zeros((2, 2, 2), np.int16), "int16", ValueError, "shape (2, 2, 2)"),
        (SAMPLES.reshape(3, 2), "int16", zepl.ProcedureError, "it has 2 channels"),
    ],
    ids=str,
)
def test_what_does_not_fit_is_refused_with_a_way_out(samples, type, error, said):
    with pytest.raises(error) as raised:
        taken(samples, type)
    assert said in str(raised.value)


def test_each_kind_of_output_comes_back():
    text = (
        "variable g[2] : int16 = [1, 2]\npipe a[2] : int16\npipe b[2] : int16 to \"b.wav\"\npipe s : int16\ntrigger e to \"e.csv\"\n"
        "table \"t.csv\" : seconds every 0.5, b\nABS (a, b)\nOFFSET (a[1], 0, s)\nTOGGLE (s, inside, 3, 9, outside, 3, 9, e)\n"
    )
    result = zepl.run(text, {"a": SAMPLES.reshape(3, 2)}, rate=100, set={"g": [3, 4]}, collect=["s"])
    assert result["b"].tolist() == [[1, 2], [3, 4], [5, 6]]
    assert result["s"].tolist() == [1, 3, 5]
    assert result["e"].tolist() == result.triggers["e"].tolist() == [1]
    assert list(result["t.csv"]) == ["seconds", "b[1]", "b[2]"]
    assert result["t.csv"]["seconds"].tolist() == [0, 0.5, 1]
    assert result["t.csv"]["b[2]"].tolist() == [2, 4, 6]
    assert result.variables["g[2]"] == 4 and result.variables["g"].tolist() == [3, 4]
    assert result.report["status"] == "ok" and result.rates["b"] == 100
    assert "int16" in repr(result) and "<img" in result._repr_html_()


def test_files_are_written_only_when_asked_for(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    procedure = tmp_path / "p.zp"
    procedure.write_text(OFFSET)
    assert zepl.run(procedure, {"x": SAMPLES})["y"].tolist() == (SAMPLES + 5).tolist()
    assert os.listdir(tmp_path) == ["p.zp"]
    result = zepl.run(str(procedure), {"x": SAMPLES}, files=True)
    assert np.load("y.npy").tolist() == result["y"].tolist()
    np.save("x.npy", SAMPLES)
    assert zepl.run(procedure, {"x": "x.npy"})["y"].tolist() == result["y"].tolist()


def test_mistakes_have_their_places():
    text = "pipe x : int16\npipe y : int16\nOFSET (x, 5, y)\nABS (x, z)\n"
    mistakes = zepl.check(text)
    assert [(each.line, each.column, each.hint) for each in mistakes] == [
        (3, 1, "did you mean `OFFSET`?"),
        (4, 9, "declare it as a pipe, trigger, variable or vector"),
    ]
    with pytest.raises(zepl.ProcedureError) as raised:
        zepl.run(text)
    assert raised.value.diagnostics == mistakes and "procedure:3:1: error: unknown command `OFSET`" in str(raised.value)
    assert zepl.check(OFFSET, {"x": SAMPLES}) == []


def test_a_run_that_fails_has_its_report():
    with pytest.raises(zepl.RunError) as raised:
        zepl.run(OFFSET, {"x": np.zeros(1 << 20, np.int16)}, memory="1M")
    assert raised.value.report["status"] == "failed" and "no memory is left" in str(raised.value)


def test_exceptions_go_to_other_processes():
    for call in (
        lambda: zepl.run("pipe x : int15\n"),
        lambda: zepl.run(OFFSET, {"x": np.zeros(1 << 20, np.int16)}, memory="1M"),
        lambda: zepl.run(OFFSET, {"x": SAMPLES}, rate=-1),
    ):
        with pytest.raises(zepl.Error) as raised:
            call()
        copy = pickle.loads(pickle.dumps(raised.value))
        assert type(copy) is type(raised.value) and str(copy) == str(raised.value)
        assert getattr(copy, "diagnostics", 0) == getattr(raised.value, "diagnostics", 0)


@pytest.mark.parametrize("feed", ["whole", "random:7", 3, "lockstep"])
def test_the_result_is_the_same_however_the_input_arrives(feed):
    assert zepl.run(OFFSET, {"x": SAMPLES}, feed=feed)["y"].tolist() == (SAMPLES + 5).tolist()


@pytest.mark.parametrize(
    "option, said",
    [({"feed": "slowly"}, "random:SEED"), ({"memory": "1X"}, "K, M, G or T"), ({"blok": 5}, "is no option"),
     ({"block": 0}, "1 to 16777216"), ({"rate": -1}, "positive"), ({"out": {"y": "z.npy"}}, "files=True"),
     ({"set": {"q": 1}}, "no variable or constant `q`"), ({"collect": ["q"]}, "no pipe or trigger `q`"),
     ({"patience": -1}, "patience=-1: 0 to"), ({"start_time": "x"}, "a whole number"), ({"info": {1: "a"}}, "info[1]='a'"),
     ({"sync": [1]}, "True or False"), ({"pace": "a"}, "is no number"), ({"collect": {"y": -1}}, "collect['y']=-1: 0 to"),
     ({"set": {1: 2}}, "takes names"), ({"memory": 0}, "raise memory="), ({"set": {"v": 1.5}}, "set v: `1.5` is not an integer")],
    ids=str,
)
def test_wrong_options_are_refused(option, said):
    with pytest.raises((ValueError, TypeError, zepl.Error)) as raised:
        zepl.run("variable v : int16 = 5\n" + OFFSET, {"x": SAMPLES}, **option)
    assert said in str(raised.value)


def peak_of(call):
    tracemalloc.start()
    before = resident()
    kept = call()
    python = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    return resident() - before, python, kept


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_arrays_that_fit_are_lent_and_results_are_not_copied():
    samples = np.zeros(1 << 24, np.int16)
    samples[:] = 1
    peak, python, result = peak_of(lambda: zepl.run("pipe x : int16\npipe y : int16 to \"y.npy\"\nRMS (x, 32767, y)\n", {"x": samples}))
    assert peak < 8 << 20 and python < 1 << 20
    peak, python, result = peak_of(lambda: zepl.run(OFFSET, {"x": samples})["y"])
    assert peak < 48 << 20 and python < 1 << 20
    assert result.base is not None and not result.flags.owndata


def test_two_sessions_run_at_once_and_leave_the_interpreter_free():
    samples, results = np.arange(1 << 21, dtype=np.int32), {}
    text = "pipe x : int32\npipe y : int32 to \"y.npy\"\nOFFSET (x, 5, y)\n"

    def work(number):
        results[number] = zepl.run(text, {"x": samples + number})["y"]

    threads = [threading.Thread(target=work, args=(number,)) for number in range(2)]
    for each in threads:
        each.start()
    for each in threads:
        each.join()
    for number in range(2):
        assert np.array_equal(results[number], samples + number + 5)


def test_an_interrupt_ends_a_run_in_order():
    with pytest.raises(KeyboardInterrupt):
        threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
        zepl.run("pipe y : int16\nSQUAREWAVE (100, 20, y)\n", collect={"y": 1 << 40}, memory="16G")
    assert taken(SAMPLES).tolist() == SAMPLES.tolist()
