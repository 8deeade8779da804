"""What the calls raise."""

import enum
from typing import Any

from ._library import library


class Status(enum.IntEnum):
    """The outcome of a call. The numbers never change.

    A later version of the library may return other numbers. They become members too, such as
    Status(99), and mean that the task is not queued.
    """

    OK = 0
    INVALID_ARGUMENT = 1
    NOT_CONFIGURED = 2
    NOT_RUNNING = 3
    TIMED_OUT = 4
    STOPPED = 5
    SYSTEM_ERROR = 6
    OUT_OF_MEMORY = 7
    UNREACHABLE = 8
    CONNECTION_LOST = 9
    REFUSED = 10
    IN_DOUBT = 11
    NOT_FOUND = 12
    UNEXPECTED_REPLY = 13

    @classmethod
    def _missing_(cls, value: object) -> "Status | None":
        if not isinstance(value, int):
            return None
        member = int.__new__(cls, value)
        member._name_ = f"UNKNOWN_{value}"
        member._value_ = value
        return member

    def __reduce_ex__(self, _: object) -> tuple[type["Status"], tuple[int]]:
        return Status, (self.value,)  # By number: a later one is no attribute of the class.

    @property
    def text(self) -> str:
        """A few words in English, such as "timed out"."""
        text: bytes = library.velmo_status_text(self)
        return text.decode()


class Error(Exception):
    """A call failed. Unless it is an InDoubt, nothing is queued.

    str() is one line of English that names the path, key or address, and never the command.
    """

    status: Status
    """What the call returned."""
    cause: Status
    """The reason of an InDoubt; otherwise as status."""
    system_error: int
    """The errno of the system call that failed, or 0."""
    peer_code: int
    """The WebSocket close code or HTTP status of the service, or 0."""

    def __init__(
        self,
        message: str,
        status: Status,
        cause: Status | None = None,
        system_error: int = 0,
        peer_code: int = 0,
    ) -> None:
        # All arguments: pickle makes the copy from them.
        super().__init__(message, status, cause, system_error, peer_code)
        self.status = status
        self.cause = status if cause is None else cause
        self.system_error = system_error
        self.peer_code = peer_code

    def __str__(self) -> str:
        return str(self.args[0])


class InDoubt(Error):
    """The task may be queued: submitting it again may run it twice. `cause` is the reason."""

    name: str | None
    """The task's name if it is known, as after a submission by file; otherwise None."""

    def __init__(
        self,
        message: str,
        status: Status = Status.IN_DOUBT,
        cause: Status | None = None,
        system_error: int = 0,
        peer_code: int = 0,
        name: str | None = None,
    ) -> None:
        super().__init__(message, status, cause, system_error, peer_code)
        self.args += (name,)
        self.name = name


class Completed(Exception):
    """A call succeeded although it was interrupted.

    Never raised alone: it is the `__cause__` of the KeyboardInterrupt, or of anything else that a
    signal handler raised during the call. If the call failed, its Error is the `__cause__`, and an
    InDoubt if the task may be queued. Without a `__cause__`, the call was not begun.
    """

    result: Any
    """What the call would have returned: the name of the task, for example."""

    def __init__(self, result: Any) -> None:
        super().__init__(result)
        self.result = result

    def __str__(self) -> str:
        return f"the call has succeeded: {self.result!r}"
