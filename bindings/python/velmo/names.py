"""Names of tasks and identifiers of sub-jobs."""

import ctypes
from dataclasses import dataclass

from ._calls import call_for_name, decoded, encoded
from ._errors import Status
from ._library import TaskNameStruct, library


@dataclass(frozen=True)
class TaskName:
    """The parts of a task's name."""

    priority: int
    """Smaller runs first."""
    task: int
    """The task's number."""
    relative_priority: int
    """Within the class."""
    created: str
    """Local time, YYYYMMDDhhmmss."""
    job: str
    sub_job: str
    type: str
    """The kind of command."""


def parse_name(name: str) -> TaskName | None:
    """Splits the name of a task into its parts. None: no task can have this name."""
    if "\0" in name:
        return None
    parts = TaskNameStruct()
    if library.velmo_parse_name(encoded("name", name), ctypes.byref(parts)) != Status.OK:
        return None
    texts = (decoded(text) for text in (parts.created, parts.job, parts.sub_job, parts.type))
    return TaskName(parts.priority, parts.task, parts.relative_priority, *texts)


def child_sub_job(parent: str, suffix: str = "") -> str:
    """The sub-job identifier of a child: "3_x" and "y" give "4_x_y".

    Raises Error, INVALID_ARGUMENT: the parent's has no underscore, or the result is too long.
    """
    texts = encoded("parent", parent), encoded("suffix", suffix)
    return call_for_name(library.velmo_child_sub_job, *texts)
