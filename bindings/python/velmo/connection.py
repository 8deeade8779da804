"""A service elsewhere: neither encrypted nor authenticated."""

import ctypes
import threading
from collections.abc import Callable
from types import TracebackType
from typing import Self, TypeVar

from ._calls import (
    StrPath,
    call,
    call_for_name,
    decoded,
    encoded,
    encoded_path,
    integer,
    invalid,
    milliseconds,
    task_of,
)
from ._interrupts import interruptible
from ._library import NAME_SIZE, EndpointStruct, library

T = TypeVar("T")


def find_service(modules_xml: StrPath | None = None) -> tuple[str, int]:
    """Finds the service that "modules.xml" names: the host and the port of its WebSocket.

    modules_xml -- default the variable VELMO_MODULES_XML, then the installation's place

    Raises Error: NOT_CONFIGURED or OUT_OF_MEMORY.
    """
    host = ctypes.create_string_buffer(NAME_SIZE)
    port = ctypes.c_int()
    path = encoded_path("modules_xml", modules_xml)
    call(library.velmo_find_service, path, host, ctypes.byref(port))
    return decoded(host.value), port.value


class _Handle:
    """A connection of the library, closed with the last reference: every call in it has one."""

    _disconnect = library.velmo_disconnect
    pointer = ctypes.c_void_p()  # null, if a signal handler interrupts __init__

    def __init__(self) -> None:
        self.pointer = ctypes.c_void_p()
        self.stop = ctypes.c_int()
        self.in_use = threading.Lock()
        self.is_usable = False

    def connect(self, endpoint: EndpointStruct, timeout_ms: int) -> None:
        endpoint.stop = ctypes.pointer(self.stop)
        pointer = ctypes.byref(self.pointer)
        self.use(lambda: call(library.velmo_connect, ctypes.byref(endpoint), timeout_ms, pointer))

    def use(self, call: Callable[[], T]) -> T:
        """Makes a call with the connection, which ends in an error if another call is using it."""
        return interruptible(lambda: self._use_alone(call), self.stop)

    def _use_alone(self, call: Callable[[], T]) -> T:
        if not self.in_use.acquire(blocking=False):
            raise invalid("another call is using the connection")
        try:
            return call()
        finally:
            self.is_usable = bool(library.velmo_is_usable(self.pointer))
            self.in_use.release()

    def close(self, timeout_ms: int) -> None:
        """Disconnects, unless another call is using the connection: it has the last reference."""

        def close() -> None:
            if self.in_use.acquire(blocking=False):  # and kept
                self.disconnect(timeout_ms)

        interruptible(close, self.stop)

    def disconnect(self, timeout_ms: int) -> None:
        pointer, self.pointer = self.pointer, ctypes.c_void_p()
        self._disconnect(pointer, timeout_ms)

    def __del__(self) -> None:
        self.disconnect(0)


class Connection:
    """A connection to a service over a WebSocket.

    Nothing is encrypted, and nobody is authenticated: use a tunnel across networks that you do not
    trust. It does not connect again.

    One thread at a time may use a connection: a call during a call of another thread is refused
    with INVALID_ARGUMENT. A child process after a fork may only close it.
    """

    def __init__(
        self,
        host: str | None = None,
        port: int = 0,
        path: str | None = None,
        modules_xml: StrPath | None = None,
        *,
        timeout: float | None,
    ) -> None:
        """Connects. All addresses of a host are tried.

        host -- a name or a numeric address; default the one in "modules.xml"
        port -- 1 to 65535; 0 only with the default host: the port in "modules.xml"
        path -- of the WebSocket, beginning with "/"; default "/velmo"
        modules_xml -- default the variable VELMO_MODULES_XML, then the installation's place
        timeout -- seconds to connect and to shake hands; None: no limit; 0: no wait. The look-up of
            a host's name is not limited

        Raises Error: INVALID_ARGUMENT, NOT_CONFIGURED, TIMED_OUT, UNREACHABLE, SYSTEM_ERROR or
        OUT_OF_MEMORY.
        """
        self._handle: _Handle | None = None
        handle = _Handle()
        endpoint = EndpointStruct(
            size=ctypes.sizeof(EndpointStruct),
            host=encoded("host", host),
            port=integer("port", port),
            path=encoded("path", path),
            modules_xml=encoded_path("modules_xml", modules_xml),
        )
        handle.connect(endpoint, milliseconds(timeout))
        self._handle = handle

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        exception: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def send(
        self,
        command: str | bytes,
        *,
        priority_class: str,
        type: str | None = None,
        adjustment: str | None = None,
        job: str | None = None,
        sub_job: str | None = None,
        information: str | None = None,
        relative_priority: int = 0,
        timeout: float | None,
    ) -> str:
        """Submits a task and waits for the reply. Returns the name that the service gave the task.

        The arguments are those of Installation.submit(), but the service looks up the class and the
        adjustment, `type` is "sh" or "java", and texts must be UTF-8.

        timeout -- seconds until the reply is there; None: no limit; 0: no wait

        Raises InDoubt: the whole request was sent, and its outcome is not known. After any other
        Error the task is not queued: INVALID_ARGUMENT, TIMED_OUT, CONNECTION_LOST, REFUSED,
        SYSTEM_ERROR or OUT_OF_MEMORY. After any Error but INVALID_ARGUMENT the connection is
        unusable.
        """
        task = task_of(
            command, priority_class, type, adjustment, job, sub_job, information, relative_priority
        )
        timeout_ms = milliseconds(timeout)
        if self._handle is None:
            raise invalid("the connection is closed")
        handle = self._handle

        def send() -> str:
            return call_for_name(library.velmo_send, handle.pointer, ctypes.byref(task), timeout_ms)

        return handle.use(send)

    @property
    def is_usable(self) -> bool:
        """False after send() has failed with anything but INVALID_ARGUMENT, and after close().

        Asks nobody: the service may have ended the connection already.
        """
        return self._handle is not None and self._handle.is_usable

    def close(self, timeout: float | None = 0) -> None:
        """Closes the connection. If another thread is using it, it is closed when that call ends.

        timeout -- seconds to wait for the service to close too; None: no limit; 0: a close frame is
            sent if the socket takes it at once
        """
        timeout_ms = milliseconds(timeout)
        handle, self._handle = self._handle, None
        if handle is not None:
            handle.close(timeout_ms)
