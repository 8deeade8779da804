"""Threads, forks, and the end of the interpreter."""

import os
import threading
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor

import pytest
from conftest import Child, TaskCounter

import velmo


def in_child(call: Callable[[], object]) -> str:
    """What the call says in a forked child: the text of its result, or of its exception."""
    end, other_end = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            text = str(call())
        except BaseException as exception:
            text = f"{type(exception).__name__}: {exception}"
        os.write(other_end, text.encode())
        os._exit(0)
    os.close(other_end)
    with os.fdopen(end) as pipe:
        text = pipe.read()
    assert os.waitpid(child, 0)[1] == 0
    return text


def submit(installation: velmo.Installation) -> str:
    return installation.submit("true", priority_class="Normal", job="J1", timeout=60)


def test_many_threads_submit_with_one_installation(installation: velmo.Installation) -> None:
    with ThreadPoolExecutor(8) as threads:
        names = list(threads.map(lambda _: submit(installation), range(200)))
    assert len(set(names)) == 200
    assert sorted(names) == installation.list()


def test_threads_take_new_jobs(installation: velmo.Installation) -> None:
    with ThreadPoolExecutor(4) as threads:
        jobs = list(threads.map(lambda _: installation.new_job(timeout=60), range(20)))
    assert len(set(jobs)) == 20


def test_close_does_not_end_the_call_of_another_thread(counter: TaskCounter) -> None:
    installation = velmo.Installation()
    with ThreadPoolExecutor(1) as threads:
        with counter.held():
            name = threads.submit(submit, installation)
            counter.wait_for_waiters(1)
            installation.close()
        assert velmo.parse_name(name.result()) is not None
    with velmo.Installation() as fresh:
        assert fresh.cancel(name.result())


def test_child_uses_the_installation(installation: velmo.Installation) -> None:
    name = in_child(lambda: submit(installation))
    assert installation.list() == [name]


def test_child_of_another_thread_uses_the_installation(installation: velmo.Installation) -> None:
    names: list[str] = []
    call = lambda: names.append(in_child(lambda: submit(installation)))  # noqa: E731
    thread = threading.Thread(target=call)
    thread.start()
    thread.join()
    assert installation.list() == names


def test_child_may_only_close_a_connection(installation: velmo.Installation) -> None:
    def send() -> str:
        return connection.send("true", priority_class="Normal", job="J1", timeout=60)

    with velmo.Connection(timeout=5) as connection:
        assert in_child(send).startswith("Error: the connection belongs to the parent process")
        assert in_child(connection.close) == "None"
        assert [send()] == installation.list()


# --- the end of the interpreter ---


@pytest.mark.parametrize(
    "end", ["", "del held", "held.append(held)", "import os; os._exit(0)", "raise SystemExit(0)"]
)
def test_open_handles_at_the_end_are_no_harm(end: str, start: Callable[[str], Child]) -> None:
    opened = "held = [velmo.Installation(), velmo.Connection(timeout=5)]"
    assert start(f"import velmo\n{opened}\n{end}").output() == ""


def test_thread_that_waits_at_the_end_is_no_harm(
    start: Callable[[str], Child], counter: TaskCounter, installation: velmo.Installation
) -> None:
    with counter.held():
        child = start(
            """
import sys, threading, velmo
installation = velmo.Installation()
call = lambda: installation.submit("true", priority_class="Normal", job="J1", timeout=None)
threading.Thread(target=call, daemon=True).start()
sys.stdin.readline()
"""
        )
        counter.wait_for_waiters(1)
        child.finish()
        assert child.output() == ""
    assert installation.list() == []


def test_handler_at_exit_can_submit(
    start: Callable[[str], Child], installation: velmo.Installation
) -> None:
    child = start(
        """
import atexit, velmo
installation = velmo.Installation()
call = lambda: print(installation.submit("true", priority_class="Normal", job="J1", timeout=60))
atexit.register(call)
"""
    )
    assert child.output().splitlines() == installation.list()
    assert len(installation.list()) == 1


