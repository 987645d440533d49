"""Interrupts, and threads that wait for one session or push to it."""

import contextlib
import os
import signal
import threading

import numpy as np
import pytest

import zepl

COPY = "pipe x : int16\npipe y : int16 to \"y.npy\"\nREPLICATE (x, 1, y)\n"
ENDLESS = "pipe y : int16\nSQUAREWAVE (100, 20, y)\n"
SAMPLES = np.ones(1 << 22, np.int16)


def interrupt():
    os.kill(os.getpid(), signal.SIGINT)


@contextlib.contextmanager
def interrupts(handler):
    before, over = signal.signal(signal.SIGINT, handler), threading.Event()

    def repeat():
        while not over.wait(0.02):
            interrupt()

    thread = threading.Thread(target=repeat)
    thread.start()
    try:
        yield
    finally:
        over.set()
        thread.join()
        signal.signal(signal.SIGINT, before)


def functions(count):
    for _ in range(count):
        assert zepl.rms(SAMPLES, 100).size == SAMPLES.size // 100


def push():
    session = zepl.start(COPY, live={"x": 100}, pace=1)
    while session.push("x", SAMPLES) == SAMPLES.size:
        pass
    session.wait()


@pytest.mark.parametrize(
    "call",
    [lambda: zepl.run(ENDLESS, collect={"y": 1 << 40}, memory="16G"), lambda: functions(1 << 20),
     lambda: zepl.start(COPY, live=["x"]).wait(), push],
)
def test_a_run_that_a_signal_cuts_short_raises_whatever_the_handler_does(call):
    with interrupts(lambda *_: None), pytest.raises(zepl.RunError) as raised:
        call()
    assert "was interrupted by a signal before its end" in str(raised.value)


def test_an_ignored_interrupt_stays_ignored():
    with interrupts(signal.SIG_IGN):
        functions(50)
        session = zepl.start(COPY, live=["x"])
        threading.Timer(0.2, session.finish).start()
        session.push("x", [1, 2])
        assert session.wait()["y"].tolist() == [1, 2]


@pytest.mark.parametrize("call", ["push", "wait"])
def test_after_an_interrupt_the_result_is_there_as_far_as_it_came(call):
    session = zepl.start(COPY, live={"x": 100}, pace=1)
    session.push("x", [1])
    threading.Timer(0.2, interrupt).start()
    with pytest.raises(KeyboardInterrupt):
        session.push("x", SAMPLES) if call == "push" else session.wait()
    assert session.result.status == "interrupted" and session.result is session.wait()
    assert session.push("x", [1]) == 0


def in_threads(*calls):
    results = {}
    threads = [threading.Thread(target=lambda n=n, call=call: results.update({n: call()}), daemon=True) for n, call in enumerate(calls)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
        assert not thread.is_alive(), "a thread waits still"
    return [results.get(number) for number in range(len(calls))]


def test_each_thread_that_waits_gets_the_result():
    session = zepl.start(COPY, live=["x"])
    first, second, _ = in_threads(session.wait, lambda: session.result, session.finish)
    assert first.status == second.status == "ok"


def test_threads_that_push_to_one_input_take_turns():
    session = zepl.start(COPY, live={"x": 10})
    assert in_threads(*[lambda n=n: session.push("x", np.full(10000, n, np.int16)) for n in range(3)]) == [10000] * 3
    session.finish()
    assert np.count_nonzero(np.diff(session.result["y"])) == 2
    held = zepl.start(COPY, live={"x": 10}, pace=1)
    pushes = [lambda: held.push("x", SAMPLES)] * 2
    assert sum(in_threads(*pushes, held.stop)[:2]) < SAMPLES.size


def test_a_failed_run_raises_the_same_each_time():
    session = zepl.start(ENDLESS, collect={"y": 1 << 40}, memory="2M")
    for _ in range(2):
        with pytest.raises(zepl.RunError, match="no memory is left"):
            session.wait()
