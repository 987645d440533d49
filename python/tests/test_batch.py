"""A batch by Python, on this machine and on a Dask cluster of a scheduler and two workers."""

import contextlib
import csv
import os
import select
import signal
import subprocess
import sys
import threading
import wave

import pytest

import zepl
from zepl import _batch, _cluster

distributed = pytest.importorskip("distributed")
PROBE = os.path.join(os.path.dirname(_batch.tool()), "probe.zlm")
GET = " pipe_get:2"


def sound(path, samples, channels=1):
    with wave.open(path, "wb") as file:
        file.setparams((channels, 2, 360, 0, "NONE", ""))
        file.writeframes(b"".join(sample.to_bytes(2, "little", signed=True) for sample in samples))


@pytest.fixture
def place(tmp_path, monkeypatch):
    """A folder with recordings, some of them bad: one with 7 samples crashes, one with 5 fails."""
    monkeypatch.chdir(tmp_path)
    os.mkdir("rec")
    for number in range(1, 13):
        sound(f"rec/r{number}.wav", [1, -2, -number])
    sound("rec/r3.wav", [1] * 7)
    sound("rec/r5.wav", [1] * 5)
    with open("rec/r7.wav", "rb+") as file:
        file.truncate(46)
    with open("taps.csv", "w") as file:
        file.write("1\n2\n")
    with open("p.zp", "w") as file:
        file.write('pipe ecg : int16 from "-"\npipe lo : int16 to "lo.wav"\nvector taps : int16 from "taps.csv"\n'
                   f'variable gain : float = 0.1\nABS (ecg, lo)\nSCRIPT ("open_read:2{GET * 5} exit:7", ecg)\n'
                   f'SCRIPT ("open_read:2{GET * 7} null", ecg)\n')
    return tmp_path


@pytest.fixture(scope="module")
def client(tmp_path_factory):
    """The workers stand in another folder than the call, and a recording is given up for the second worker that is lost."""
    folder = tmp_path_factory.mktemp("cluster")
    python = {**os.environ, "PYTHONPATH": os.path.dirname(os.path.dirname(zepl.__file__)), "ZEPL_TOOL": _batch.tool(),
              "DASK_DISTRIBUTED__SCHEDULER__ALLOWED_FAILURES": "1"}
    file = str(folder / "scheduler.json")
    common = {"cwd": folder, "env": python, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    run = [sys.executable, "-m"]
    with contextlib.ExitStack() as stack:
        for words in (["distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard"],
                      ["distributed.cli.dask_worker", "--nworkers", "2", "--nthreads", "1", "--memory-limit", "0", "--no-dashboard"]):
            process = stack.enter_context(subprocess.Popen([*run, *words, "--scheduler-file", file], **common))
            stack.callback(process.terminate)
        made = stack.enter_context(distributed.Client(scheduler_file=file, timeout=60))
        made.wait_for_workers(2)
        yield made


def batch(**more):
    more.setdefault("each", {"ecg": "rec/*.wav"})
    return zepl.batch("p.zp", out={"lo": "out/{stem}.wav"}, modules=[PROBE], sync=False, **more)


def contents(folder):
    return {name: open(os.path.join(folder, name), "rb").read() for name in os.listdir(folder)}


def without_seconds(file):
    with open(file, newline="") as opened:
        return [row[:-1] for row in csv.reader(opened)]


def test_rows_are_the_same_here_and_on_a_cluster_which_shares_the_folder_or_is_sent_it(place, client):
    here = batch(table="here.csv")
    assert [row["file"] for row in here] == [f"rec/r{n}.wav" for n in range(1, 13)]
    assert [(row["file"], row["status"]) for row in here.bad] == [
        ("rec/r3.wav", "crashed"), ("rec/r5.wav", "failed"), ("rec/r7.wav", "failed")]
    assert (here[11]["lo.count"], here[11]["lo.last"], here[11]["gain"]) == (3, 12, 0.1)
    assert here[2]["lo.last"] is None
    files = contents("out")
    for send in (False, True):
        for name in files:
            os.remove(f"out/{name}")
        rows = batch(table="there.csv", client=client, send=send)
        assert without_seconds("there.csv") == without_seconds("here.csv")
        assert [row["notes"] for row in rows] == [row["notes"] for row in here]
        assert contents("out") == files


def test_what_is_sent_needs_nothing_of_the_folder(place, tmp_path_factory):
    class Keeps:
        def submit(self, function, task, **_):
            return task

    words = [_batch.tool(), "batch", "p.zp", "--each=ecg=rec/r2.wav", "--out=lo=out/{stem}.wav", "--table=t.csv"]
    modules = [f"--module={PROBE}"]
    plan = _batch._plan([*words, *modules])
    task = _cluster.Batch(Keeps(), plan, "p.zp", modules, [PROBE], "t.csv", True)._submit(0)
    os.rename(place, tmp_path_factory.mktemp("away") / "place")
    cells, files = _cluster.run_recording(task)
    assert (cells["file"], cells["status"], cells["lo.last"]) == ("rec/r2.wav", "ok", "2")
    assert list(files) == ["out/r2.wav"]


def test_calls_and_procedures_that_are_wrong_are_refused(place, client):
    for more in ({}, {"client": client}):
        with pytest.raises(zepl.Error, match="each recording would write `lo.wav`"):
            zepl.batch("p.zp", {"ecg": "rec"}, **more)
        with pytest.raises(TypeError, match="'blok' is no option"):
            zepl.batch("p.zp", {"ecg": "rec"}, blok=3, **more)


def readers(fifo):
    """The processes that have it open."""
    found = []
    for process in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError):
            opened = os.listdir(f"/proc/{process}/fd")
            if any(os.path.realpath(f"/proc/{process}/fd/{each}") == fifo for each in opened):
                found.append(int(process))
    return [process for process in found if process != os.getpid()]


def parent(process):
    with open(f"/proc/{process}/stat") as file:
        return int(file.read().rpartition(")")[2].split()[1])


def kill_worker(fifo):
    """Kills the worker whose tool reads it, and waits until that has ended, too."""
    writer = os.open(fifo, os.O_WRONLY)
    (reader,) = readers(fifo)
    end = os.pidfd_open(reader)
    os.kill(parent(parent(reader)), signal.SIGKILL)
    select.select([end], [], [])
    os.close(end)
    os.close(writer)


@pytest.mark.parametrize("kills", [1, 4])
def test_a_lost_worker_costs_nothing_and_a_recording_that_kills_each_has_a_row(place, client, kills):
    whole = open("rec/r2.wav", "rb").read()
    os.remove("rec/r2.wav")
    os.mkfifo("rec/r2.wav")
    fifo = os.path.realpath("rec/r2.wav")

    def disturb():
        for _ in range(kills):
            kill_worker(fifo)
        if kills == 1:
            with open(fifo, "wb") as file:
                file.write(whole)

    thread = threading.Thread(target=disturb)
    thread.start()
    rows = batch(client=client)
    thread.join()
    assert [row["file"] for row in rows] == [f"rec/r{n}.wav" for n in range(1, 13)]
    assert rows[1]["status"] == ("ok" if kills == 1 else "crashed")
    assert [row["status"] for row in rows].count("ok") == (9 if kills == 1 else 8)
