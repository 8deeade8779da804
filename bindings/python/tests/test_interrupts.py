"""Ctrl-C, and other signals whose handler raises something."""

import _thread
import ctypes
import os
import signal
import threading
from collections.abc import Callable, Iterator
from types import FrameType

import pytest
from conftest import Child, TaskCounter, wait_until

import velmo
from velmo._interrupts import interruptible
from velmo._library import library

Start = Callable[[str], Child]


class Expired(Exception):
    pass


@pytest.fixture(autouse=True)
def handlers() -> Iterator[None]:
    """SIGALRM raises Expired."""

    def expire(_: int, __: FrameType | None) -> None:
        raise Expired

    before = signal.signal(signal.SIGALRM, expire)
    yield
    signal.setitimer(signal.ITIMER_REAL, 0)
    signal.signal(signal.SIGALRM, before)


# --- one call ---


def interrupted_then(stop: ctypes.c_int, end: Callable[[], str]) -> Callable[[], str]:
    """A call that is interrupted, and ends in this way when it sees the flag."""

    def call() -> str:
        os.kill(os.getpid(), signal.SIGINT)
        wait_until(lambda: stop.value != 0)
        return end()

    return call


def fail(error: Exception) -> str:
    raise error


def test_interrupted_call_that_succeeds_leaves_its_result() -> None:
    stop = ctypes.c_int()
    with pytest.raises(KeyboardInterrupt) as caught:
        interruptible(interrupted_then(stop, lambda: "name"), stop)
    assert isinstance(caught.value.__cause__, velmo.Completed)
    assert caught.value.__cause__.result == "name"
    assert str(caught.value.__cause__) == "the call has succeeded: 'name'"
    assert stop.value == 0


def test_interrupted_call_that_fails_leaves_its_error() -> None:
    stop = ctypes.c_int()
    doubt = velmo.InDoubt("m")
    with pytest.raises(KeyboardInterrupt) as caught:
        interruptible(interrupted_then(stop, lambda: fail(doubt)), stop)
    assert caught.value.__cause__ is doubt
    assert stop.value == 0


def test_what_a_handler_raises_is_raised() -> None:
    def call() -> str:
        os.kill(os.getpid(), signal.SIGALRM)
        wait_until(lambda: stop.value != 0)
        return "name"

    stop = ctypes.c_int()
    with pytest.raises(Expired) as caught:
        interruptible(call, stop)
    assert isinstance(caught.value.__cause__, velmo.Completed)


def test_second_interruption_waits_for_the_end_too() -> None:
    def call() -> str:
        os.kill(os.getpid(), signal.SIGALRM)
        wait_until(lambda: stop.value != 0)
        stop.value = 0
        os.kill(os.getpid(), signal.SIGINT)
        wait_until(lambda: stop.value != 0)
        return "name"

    stop = ctypes.c_int()
    with pytest.raises(Expired) as caught:
        interruptible(call, stop)
    assert isinstance(caught.value.__cause__, velmo.Completed)


def test_interruption_before_the_call_begins_prevents_it(monkeypatch: pytest.MonkeyPatch) -> None:
    def interrupted(*_: object) -> None:
        raise KeyboardInterrupt

    calls: list[int] = []
    monkeypatch.setattr(_thread, "start_new_thread", interrupted)
    with pytest.raises(KeyboardInterrupt) as caught:
        interruptible(lambda: calls.append(1), ctypes.c_int())
    assert caught.value.__cause__ is None
    assert calls == []


def test_interrupted_before_its_thread_begins_it_waits_for_the_thread(
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    """The interpreter crashes if it ends while a thread has not begun."""
    start_new_thread = _thread.start_new_thread
    stop = ctypes.c_int()
    calls: list[int] = []
    has_returned = threading.Event()
    ends: list[str] = []

    def start_late(run: Callable[[str], None], arguments: tuple[str]) -> int:
        def begin() -> None:
            os.kill(os.getpid(), signal.SIGINT)
            wait_until(lambda: stop.value != 0 or has_returned.is_set())
            ends.append("late" if has_returned.is_set() else "in time")
            run(*arguments)

        return start_new_thread(begin, ())

    monkeypatch.setattr(_thread, "start_new_thread", start_late)
    with pytest.raises(KeyboardInterrupt) as caught:
        interruptible(lambda: calls.append(1), stop)
    has_returned.set()
    wait_until(lambda: ends != [])
    assert ends == ["in time"]
    assert caught.value.__cause__ is None
    assert calls == []
    assert stop.value == 0


def test_call_that_no_thread_can_be_started_for_is_made(monkeypatch: pytest.MonkeyPatch) -> None:
    def refused(*_: object) -> None:
        raise RuntimeError("can't start new thread")

    monkeypatch.setattr(_thread, "start_new_thread", refused)
    assert interruptible(lambda: threading.get_ident(), ctypes.c_int()) == threading.get_ident()


def test_other_threads_make_their_calls_themselves() -> None:
    idents: list[int] = []
    call = lambda: idents.append(interruptible(threading.get_ident, ctypes.c_int()))  # noqa: E731
    thread = threading.Thread(target=call)
    thread.start()
    thread.join()
    assert idents == [thread.ident]


# --- waits of the library ---

WAITING = """
import threading, velmo

installation = velmo.Installation()

def submit():
    return installation.submit("true", priority_class="Normal", job="J1", timeout=None)

def submit_until_interrupted():
    try:
        print("queued", submit())
    except KeyboardInterrupt as interrupt:
        print(repr(interrupt.__cause__.status), interrupt.__cause__, flush=True)
"""


def test_ctrl_c_ends_the_wait_for_the_counter(
    start: Start, counter: TaskCounter, installation: velmo.Installation
) -> None:
    with counter.held():
        child = start(WAITING + "submit_until_interrupted()\nprint(len(submit()) > 0)")
        counter.wait_for_waiters(1)
        child.signal(signal.SIGINT)
        assert child.line().startswith("<Status.STOPPED: 5> stopped while waiting for ")
        assert installation.list() == []
    assert child.output() == "True\n"  # The handle waits again.


def test_ctrl_c_is_a_keyboard_interrupt_that_ends_the_program(
    start: Start, counter: TaskCounter
) -> None:
    with counter.held():
        child = start(WAITING + "submit()")
        counter.wait_for_waiters(1)
        child.signal(signal.SIGINT)
        lines = child.output().splitlines()
    assert any(line.startswith("velmo._errors.Error: stopped while ") for line in lines)
    assert lines[-2:] == ["KeyboardInterrupt", f"exit {-signal.SIGINT}"]


def test_ctrl_c_ends_the_wait_of_the_main_thread_only(
    start: Start, counter: TaskCounter, installation: velmo.Installation
) -> None:
    with counter.held():
        child = start(
            WAITING
            + "thread = threading.Thread(target=lambda: print(submit()))\n"
            + "thread.start()\nsubmit_until_interrupted()\nthread.join()\n"
        )
        counter.wait_for_waiters(2)
        child.signal(signal.SIGINT)
        assert child.line().startswith("<Status.STOPPED: 5>")
        counter.wait_for_waiters(1)
        assert installation.list() == []
    assert child.output().splitlines() == installation.list()
    assert len(installation.list()) == 1


def test_handler_that_raises_nothing_ends_no_wait(
    start: Start, counter: TaskCounter, installation: velmo.Installation
) -> None:
    with counter.held():
        child = start(
            "import signal\n"
            + "signal.signal(signal.SIGUSR1, lambda *_: print('handled', flush=True))\n"
            + WAITING
            + "submit_until_interrupted()\n"
        )
        counter.wait_for_waiters(1)
        child.signal(signal.SIGUSR1)
        assert child.line() == "handled"
        assert installation.list() == []
    assert child.output() == f"queued {installation.list()[0]}\n"


def test_handler_can_submit_during_a_call(
    start: Start, counter: TaskCounter, installation: velmo.Installation
) -> None:
    with counter.held():
        child = start(
            "import signal\n"
            + "signal.signal(signal.SIGUSR1, lambda *_: print('handled', submit()))\n"
            + WAITING
            + "submit_until_interrupted()\n"
        )
        counter.wait_for_waiters(1)
        child.signal(signal.SIGUSR1)
        counter.wait_for_waiters(2)
    lines = child.output().splitlines()
    assert [line.split()[0] for line in lines] == ["handled", "queued"]
    assert sorted(line.split()[1] for line in lines) == installation.list()


def test_ctrl_c_ends_the_wait_for_a_reply(start: Start) -> None:
    child = start(
        """
import socket, velmo
from peer import Peer, read_request

def ignore(connection):
    read_request(connection)
    print("waiting", flush=True)
    connection.recv(1)

with Peer(ignore) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
    try:
        connection.send("true", priority_class="Normal", timeout=None)
    except KeyboardInterrupt as interrupt:
        doubt = interrupt.__cause__
        print(type(doubt).__name__, repr(doubt.cause), connection.is_usable)
"""
    )
    assert child.line() == "waiting"
    child.signal(signal.SIGINT)
    assert child.output() == "InDoubt <Status.STOPPED: 5> False\n"


def test_ctrl_c_ends_a_connection_attempt(start: Start) -> None:
    child = start(
        """
import socket, velmo
with socket.create_server(("127.0.0.1", 0)) as silent:
    try:
        print("waiting", flush=True)
        velmo.Connection(*silent.getsockname(), timeout=None)
    except KeyboardInterrupt as interrupt:
        print(interrupt.__cause__ is None or repr(interrupt.__cause__.status))
"""
    )
    assert child.line() == "waiting"
    child.signal(signal.SIGINT)
    assert child.output() in ("<Status.STOPPED: 5>\n", "True\n")


# --- no name is lost ---


def test_every_queued_task_is_known_whenever_the_signal_arrives(
    installation: velmo.Installation,
) -> None:
    known: list[str] = []
    outcomes: set[str] = set()
    for round in range(600):
        try:
            signal.setitimer(signal.ITIMER_REAL, 1e-6 + round % 200 * 2e-6)
            name = installation.submit("true", priority_class="Normal", job="J1", timeout=5)
            known.append(name)
            signal.setitimer(signal.ITIMER_REAL, 0)
        except Expired as interruption:
            if isinstance(interruption.__cause__, velmo.Completed):
                known.append(interruption.__cause__.result)
            outcomes.add(type(interruption.__cause__).__name__)
    assert sorted(set(known)) == installation.list()
    assert "Completed" in outcomes


def test_signals_in_check_are_not_ignored(
    installation: velmo.Installation, monkeypatch: pytest.MonkeyPatch
) -> None:
    def check(_: object, __: object, add: Callable[[object, object], None], ___: object) -> int:
        os.kill(os.getpid(), signal.SIGINT)
        return 0

    monkeypatch.setattr(library, "velmo_check", check)
    with pytest.raises(KeyboardInterrupt) as caught:
        installation.check()
    assert isinstance(caught.value.__cause__, velmo.Completed)


