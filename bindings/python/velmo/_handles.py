"""The handles of an open installation."""

import ctypes
from collections.abc import Callable
from typing import TypeVar

from ._calls import call, invalid
from ._interrupts import in_main_thread, interruptible
from ._library import library
from .settings import Settings, struct_of

T = TypeVar("T")


class Handle:
    """A handle of the library, closed with the last reference: every call in it has one."""

    _close = library.velmo_close
    pointer = ctypes.c_void_p()  # null, if a signal handler interrupts __init__

    def __init__(self, settings: Settings) -> None:
        self.pointer = ctypes.c_void_p()
        self.stop = ctypes.c_int()
        given = struct_of(settings, self.stop)
        call(library.velmo_open, ctypes.byref(given), ctypes.byref(self.pointer))

    def __del__(self) -> None:
        self._close(self.pointer)


class Handles:
    """A handle for all threads, and others for calls that a signal handler can interrupt.

    A stop flag belongs to a handle, and must not end the waits of other threads. So the main thread
    uses another handle than they do, and a third one for a call from within a signal handler.
    """

    def __init__(self, settings: Settings) -> None:
        self._settings = settings
        self._shared: Handle | None = Handle(settings)
        self._idle = [Handle(settings)]

    def close(self) -> None:
        """Refuses further calls."""
        self._shared = None
        self._idle.clear()

    def shared(self) -> Handle:
        if self._shared is None:
            raise invalid("the installation is closed")
        return self._shared

    def run(self, call: Callable[[ctypes.c_void_p], T]) -> T:
        """Makes a call as interruptible() does."""
        shared = self.shared()
        if not in_main_thread():
            return call(shared.pointer)
        try:
            handle = self._idle.pop()
        except IndexError:
            handle = Handle(self._settings)

        def work() -> T:
            try:
                return call(handle.pointer)
            finally:
                self._idle.append(handle)

        return interruptible(work, handle.stop)
