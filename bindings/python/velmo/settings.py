"""Where an installation is."""

import ctypes
import os
from dataclasses import dataclass, fields
from typing import Self

from ._calls import StrPath, encoded_path
from ._errors import Error, Status
from ._library import SettingsStruct, library


@dataclass(frozen=True, kw_only=True)
class Settings:
    """An installation: what the variables of the environment with these names hold.

    Directories are absolute paths. Anything missing or unusable is reported by the call that needs
    it.
    """

    var: StrPath | None = None
    """The queue is the subdirectory "taskqueue"."""
    tmp: StrPath | None = None
    """Where task files are written, on the mount of the queue."""
    data: StrPath | None = None
    """The job counter is the file "velmo/jobid". For new jobs only."""
    lock_var: StrPath | None = None
    """The lock file of the job counter is here. For new jobs only."""
    velmo_home: StrPath | None = None
    """Has a file "priorities.cfg"."""
    conf: StrPath | None = None
    """Has another "priorities.cfg", whose numbers win, and "serverid.cfg"."""
    shared_velmo_taskid: str | None = None
    """The key of the task counter, decimal, not 0."""
    semaphore_velmo_taskid: str | None = None
    """The key of the counter's semaphore, decimal, not 0."""

    @classmethod
    def from_environment(cls) -> Self:
        """What the environment holds now. A variable that is not set becomes None."""
        struct = SettingsStruct(size=ctypes.sizeof(SettingsStruct))
        status = Status(library.velmo_settings_from_environment(ctypes.byref(struct)))
        if status != Status.OK:
            raise Error(status.text, status)
        texts = {field.name: getattr(struct, field.name) for field in fields(cls)}
        return cls(**{name: os.fsdecode(text) for name, text in texts.items() if text is not None})


def struct_of(settings: Settings, stop: ctypes.c_int) -> SettingsStruct:
    """The settings for the library.

    stop -- the flag that ends waits; it must exist as long as the handle
    """
    struct = SettingsStruct(size=ctypes.sizeof(SettingsStruct), stop=ctypes.pointer(stop))
    for field in fields(settings):
        setattr(struct, field.name, encoded_path(field.name, getattr(settings, field.name)))
    return struct
