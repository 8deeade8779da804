"""One call of the library: its arguments, its failure, its texts."""

import ctypes
import math
import os
from typing import Any

from ._errors import Error, InDoubt, Status
from ._library import INT_MAX, NAME_SIZE, NO_LIMIT, ErrorStruct, TaskStruct

StrPath = str | os.PathLike[str]


def call(function: Any, *arguments: Any) -> None:
    """Calls a function whose last argument is the error, and raises its failure."""
    failure = ErrorStruct()
    if function(*arguments, ctypes.byref(failure)) != Status.OK:
        raise error_of(failure)


def call_for_name(function: Any, *arguments: Any) -> str:
    """Calls a function whose last arguments are an array for a name and the error."""
    failure = ErrorStruct()
    name = ctypes.create_string_buffer(NAME_SIZE)
    if function(*arguments, name, ctypes.byref(failure)) != Status.OK:
        raise error_of(failure, decoded(name.value))
    return decoded(name.value)


def error_of(failure: ErrorStruct, name: str = "") -> Error:
    """A failure as the library describes it.

    name -- of the task that may be queued, if the call has written it
    """
    message = failure.message.decode("ascii", "backslashreplace")
    status, cause = Status(failure.status), Status(failure.cause)
    numbers = failure.system_error, failure.peer_code
    if status == Status.IN_DOUBT:
        return InDoubt(message, status, cause, *numbers, name or None)
    return Error(message, status, cause, *numbers)


def invalid(message: str) -> Error:
    """The failure of a call that the library is not even asked for."""
    return Error(message, Status.INVALID_ARGUMENT)


def decoded(text: bytes) -> str:
    """A text of the library. encoded() gives the same bytes back, even if they are not UTF-8."""
    return text.decode("utf-8", "surrogateescape")


def encoded(name: str, text: str | bytes | None) -> bytes | None:
    """A text for the library.

    name -- of the argument
    """
    if isinstance(text, str):
        try:
            text = text.encode("utf-8", "surrogateescape")
        except UnicodeEncodeError:
            raise invalid(f"{name} cannot be encoded as UTF-8") from None
    elif not isinstance(text, bytes | None):
        raise TypeError(f"{name} must be a str, not {type(text).__name__}")
    return _without_nul(name, text)


def encoded_path(name: str, path: StrPath | None) -> bytes | None:
    """A path for the library, as functions of the module os pass it to the system."""
    try:
        return None if path is None else _without_nul(name, os.fsencode(path))
    except UnicodeEncodeError:
        raise invalid(f"{name} cannot be encoded as a path") from None


def _without_nul(name: str, text: bytes | None) -> bytes | None:
    if text is not None and b"\0" in text:
        raise invalid(f"{name} contains a NUL byte")
    return text


def sized(name: str, text: str) -> bytes:
    """A text for an array of the size of a name."""
    result = encoded(name, text) or b""
    if len(result) >= NAME_SIZE:
        raise invalid(f"{name} is too long: {len(result)} bytes")
    return result


def integer(name: str, number: int) -> int:
    """A number for an int of C, which ctypes would cut silently."""
    if not -INT_MAX - 1 <= number <= INT_MAX:
        raise invalid(f"{name} is out of range: {number}")
    return number


def milliseconds(timeout: float | None) -> int:
    """A timeout in seconds, rounded up. None: no limit."""
    if timeout is None:
        return NO_LIMIT
    # Not a number fails every comparison.
    if not 0 <= timeout <= INT_MAX / 1000:
        raise invalid(f"timeout is out of range: {timeout}")
    return min(math.ceil(timeout * 1000), INT_MAX)


def task_of(
    command: str | bytes,
    priority_class: str,
    type: str | None,
    adjustment: str | None,
    job: str | None,
    sub_job: str | None,
    information: str | None,
    relative_priority: int,
) -> TaskStruct:
    return TaskStruct(
        size=ctypes.sizeof(TaskStruct),
        priority_class=encoded("priority_class", priority_class),
        command=encoded("command", command),
        type=encoded("type", type),
        adjustment=encoded("adjustment", adjustment),
        job=encoded("job", job),
        sub_job=encoded("sub_job", sub_job),
        information=encoded("information", information),
        relative_priority=integer("relative_priority", relative_priority),
    )
