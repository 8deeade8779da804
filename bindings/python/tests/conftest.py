"""What the tests share. They run under the stand-in:

velmo-standin --no-run --port 0 -- python3 -m pytest bindings/python/tests
"""

import contextlib
import ctypes
import os
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

import velmo

if "SEMAPHORE_VELMO_TASKID" not in os.environ:
    raise RuntimeError("run the tests under velmo-standin --no-run --port 0")

libc = ctypes.CDLL(None, use_errno=True)
GETNCNT = 14


class _SemaphoreOperation(ctypes.Structure):
    _fields_ = [("number", ctypes.c_ushort), ("by", ctypes.c_short), ("flags", ctypes.c_short)]


class TaskCounter:
    """The semaphore of the task counter."""

    def __init__(self) -> None:
        self._id = libc.semget(int(os.environ["SEMAPHORE_VELMO_TASKID"]), 1, 0)

    def change(self, by: int) -> None:
        operation = _SemaphoreOperation(0, by, 0)
        assert libc.semop(self._id, ctypes.byref(operation), 1) == 0

    def wait_for_waiters(self, count: int) -> None:
        wait_until(lambda: bool(libc.semctl(self._id, 0, GETNCNT) == count))

    @contextlib.contextmanager
    def held(self) -> Iterator[None]:
        """While it is held, every submission by file waits."""
        self.change(-1)
        try:
            yield
        finally:
            self.change(1)


def wait_until(condition: Callable[[], bool]) -> None:
    deadline = time.monotonic() + 20
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.002)


class Child:
    """Python code in a process, which prints what it finds."""

    def __init__(self, code: str) -> None:
        self._process = subprocess.Popen(
            [sys.executable, "-c", code],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            env=os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)},
        )

    def signal(self, number: int) -> None:
        self._process.send_signal(number)

    def line(self) -> str:
        assert self._process.stdout is not None
        return self._process.stdout.readline().rstrip("\n")

    def finish(self) -> None:
        """Ends its standard input."""
        assert self._process.stdin is not None
        self._process.stdin.close()
        self._process.stdin = None

    def output(self) -> str:
        """The rest of what it prints, and its exit status unless that is 0."""
        output = self._process.communicate(timeout=20)[0]
        status = self._process.returncode
        return output if status == 0 else f"{output}exit {status}\n"

    def kill(self) -> None:
        self._process.kill()
        self._process.communicate()


@pytest.fixture
def start() -> Iterator[Callable[[str], Child]]:
    """Starts children, none of which outlives the test."""
    with contextlib.ExitStack() as children:

        def start_child(code: str) -> Child:
            child = Child(code)
            children.callback(child.kill)
            return child

        yield start_child


@pytest.fixture
def counter() -> TaskCounter:
    return TaskCounter()


@pytest.fixture
def installation() -> Iterator[velmo.Installation]:
    """The stand-in's. Its queue is empty before the test, and after it."""
    with velmo.Installation() as installation:
        yield installation
        for name in installation.list():
            installation.cancel(name)


@pytest.fixture
def job_lock() -> Iterator[Path]:
    """The lock file of the job counter, held by this process."""
    path = Path(os.environ["LOCK_VAR"], "semaphore_velmo_jobid")
    path.write_text(str(os.getpid()))
    yield path
    path.unlink()


def contents_of(name: str) -> bytes:
    return Path(os.environ["VAR"], "taskqueue", os.fsdecode(os.fsencode(name))).read_bytes()
