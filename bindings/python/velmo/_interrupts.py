"""Ctrl-C during a call.

Signal handlers of Python run between two instructions of the main thread, not while it is inside
the library. So the main thread has a helper thread make the call, and waits for it in Python.
"""

import _thread
import ctypes
import threading
from collections.abc import Callable
from typing import Generic, TypeVar

from ._errors import Completed

T = TypeVar("T")


def in_main_thread() -> bool:
    """Whether signal handlers run in this thread."""
    return threading.current_thread() is threading.main_thread()


def interruptible(call: Callable[[], T], stop: ctypes.c_int) -> T:
    """Makes a call. In the main thread, a signal handler that raises something interrupts it.

    When a handler raises something, the flag `stop` is set. When the call has ended, the same is
    raised again. Its `__cause__` tells how the call ended: the exception of the call, or Completed
    with its result; None if the call was not begun.

    The call makes the final result, such as the name as a str: once this function has returned, a
    handler runs at the next call of any function, and the result would be lost.
    """
    if not in_main_thread():
        return call()
    work = _Work(call)
    interruption: BaseException | None = None
    try:
        while True:
            try:
                if interruption is None:
                    _start(work)
                else:
                    stop.value = 1
                    work.prevent()
                work.wait()
                break
            except BaseException as exception:
                if interruption is None:
                    interruption = exception
                if not work.threads and not work.is_finished:
                    raise  # Nobody makes the call.
        stop.value = 0
        if interruption is not None:
            if work.is_prevented:
                raise interruption
            raise interruption from (work.failure or Completed(work.result))
        if work.failure is not None:
            raise work.failure
        return work.result
    finally:
        del work, interruption  # They refer to their traceback, and that to this frame: a cycle.


def _start(work: "_Work[T]") -> None:
    try:
        # Deliberate: not threading.Thread, which complains if a handler interrupts its start. And
        # no handler runs inside extend(): the list knows the thread as soon as there is one.
        work.threads.extend(map(_thread.start_new_thread, [work.run], [("thread",)]))
    except RuntimeError:  # No thread can be started, as while the interpreter ends.
        work.run("caller")


class _Work(Generic[T]):
    """A call, made at most once, and its outcome."""

    result: T
    failure: BaseException | None = None
    is_prevented = False
    is_finished = False

    def __init__(self, call: Callable[[], T]) -> None:
        # Once there is a thread, wait() for it even if the call is prevented: the interpreter may
        # crash if it ends while a thread has not begun.
        self.threads: list[int] = []
        self._call = call
        self._first: dict[str, str] = {}
        self._finished = threading.Lock()
        self._finished.acquire()

    def prevent(self) -> None:
        """Prevents the call unless it has begun."""
        self._is_first("nobody")

    def run(self, who: str) -> None:
        if self._is_first(who):
            try:
                self.result = self._call()
            except BaseException as failure:
                self.failure = failure
        else:
            self.is_prevented = True
        self.is_finished = True
        self._finished.release()

    def wait(self) -> None:
        # Deliberate: not an Event or a Future, whose own locks an interruption could leave locked.
        # And not without a timeout: a signal just before the wait begins does not wake it.
        while not self.is_finished:
            self._finished.acquire(timeout=0.2)

    def _is_first(self, who: str) -> bool:
        """Whether nobody else has asked before. The answer never changes."""
        return self._first.setdefault("who", who) == who
