"""The queue of this machine."""

import ctypes
import os
from collections.abc import Callable
from dataclasses import dataclass, fields
from types import TracebackType
from typing import Self, TypeVar

from ._calls import (
    StrPath,
    call,
    call_for_name,
    decoded,
    encoded,
    encoded_path,
    error_of,
    integer,
    invalid,
    milliseconds,
    sized,
    task_of,
)
from ._errors import Error, Status
from ._interrupts import in_main_thread, interruptible
from ._library import DURABLE, ErrorStruct, FindingFunction, JobStruct, SettingsStruct, library

T = TypeVar("T")


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


@dataclass(frozen=True)
class Job:
    """A job with a job file: see Installation.find_job."""

    id: str
    """The identifier, for `job` of a task."""
    user: str
    name: str
    information: str
    """For `information` of a task."""
    priority: int
    is_new: bool
    """Whether this call made the job."""


class _Handle:
    """A handle of the library, closed with the last reference: every call in it has one."""

    _close = library.velmo_close
    pointer = ctypes.c_void_p()  # null, if a signal handler interrupts __init__

    def __init__(self, settings: Settings) -> None:
        self.pointer = ctypes.c_void_p()
        self.stop = ctypes.c_int()
        struct = SettingsStruct(size=ctypes.sizeof(SettingsStruct), stop=ctypes.pointer(self.stop))
        for field in fields(settings):
            setattr(struct, field.name, encoded_path(field.name, getattr(settings, field.name)))
        call(library.velmo_open, ctypes.byref(struct), ctypes.byref(self.pointer))

    def __del__(self) -> None:
        self._close(self.pointer)


class Installation:
    """The queue of this machine, and the counters that name its tasks and jobs.

    It never changes: changes of the environment, or of the priority files, have no effect on it.
    Any number of threads may use it at once, and a child process after a fork.
    """

    def __init__(self, settings: Settings | None = None) -> None:
        """Loads the priority files. Anything missing is reported by the call that needs it.

        settings -- None: those of the environment
        """
        self._settings = settings or Settings.from_environment()
        self._shared: _Handle | None = _Handle(self._settings)
        # A stop flag belongs to a handle, and must not end the waits of other threads. So the main
        # thread has a handle of its own, and another one for a call from within a signal handler.
        self._idle = [_Handle(self._settings)]

    def close(self) -> None:
        """Closes the installation. Calls that other threads are in are not affected."""
        self._shared = None
        self._idle.clear()

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        exception: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def submit(
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
        durable: bool = False,
    ) -> str:
        """Submits a task: writes its file and moves it into the queue. Returns the task's name.

        Waits while another process holds the task counter and, for a new job, the job counter.

        command -- without a line feed
        priority_class -- must be in a file "priorities.cfg", with a number
        type -- the kind of command; default "sh"
        adjustment -- a priority adjustment; default none. Looked up as the class is
        job -- the job's identifier; default a new one
        sub_job -- the sub-job's identifier; default "0"
        information -- job information; default none; without a line feed
        relative_priority -- within the class
        timeout -- seconds for all waits together; None: no limit; 0: no wait
        durable -- return after a power cut can no longer lose the task or the number of a new job

        Raises InDoubt, only if durable: the task is queued but may not survive a power cut. After
        any other Error it is not queued: INVALID_ARGUMENT, NOT_CONFIGURED, NOT_RUNNING, TIMED_OUT,
        SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        task = task_of(
            command, priority_class, type, adjustment, job, sub_job, information, relative_priority
        )
        waits = milliseconds(timeout), _flags(durable)
        return self._wait(
            lambda handle: call_for_name(library.velmo_submit, handle, ctypes.byref(task), *waits)
        )

    def new_job(self, *, timeout: float | None, durable: bool = False) -> str:
        """Takes the identifier of a new job, for tasks that belong together.

        timeout -- seconds to wait for the job counter; None: no limit; 0: no wait
        durable -- return after a power cut can no longer lose the number of the job

        Raises Error: INVALID_ARGUMENT, NOT_CONFIGURED, TIMED_OUT, SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        waits = milliseconds(timeout), _flags(durable)
        return self._wait(lambda handle: call_for_name(library.velmo_new_job, handle, *waits))

    def find_job(
        self,
        directory: StrPath,
        key: str,
        *,
        user: str = "",
        name: str = "",
        priority: int = 0,
        timeout: float | None,
        durable: bool = False,
    ) -> Job:
        """Finds the job of a key, or makes it if the key has none.

        Programs that use the same directory and key get the same job.

        directory -- of the job files, an absolute path
        key -- the name of the job file, without "/"
        user, name, priority -- for a new job
        timeout -- seconds for all waits together; None: no limit; 0: no wait
        durable -- return after a power cut can no longer lose a new job

        Raises Error, as new_job() does; SYSTEM_ERROR also for a job file without an identifier.
        """
        place = encoded_path("directory", directory), encoded("key", key)
        waits = milliseconds(timeout), _flags(durable)
        job = JobStruct(
            user=sized("user", user),
            name=sized("name", name),
            priority=integer("priority", priority),
        )

        def find(handle: ctypes.c_void_p) -> Job:
            call(library.velmo_find_job, handle, *place, *waits, ctypes.byref(job))
            return Job(
                id=decoded(job.id),
                user=decoded(job.user),
                name=decoded(job.name),
                information=decoded(job.information),
                priority=job.priority,
                is_new=bool(job.is_new),
            )

        return self._wait(find)

    def check(
        self,
        command: str | bytes | None = None,
        *,
        priority_class: str = "",
        type: str | None = None,
        adjustment: str | None = None,
        job: str | None = None,
        sub_job: str | None = None,
        information: str | None = None,
        relative_priority: int = 0,
    ) -> list[Error]:
        """Looks for everything that would make submissions fail, or go unnoticed by the service.

        With a command, also looks for everything that submit() would refuse with these arguments.
        Never waits, and changes nothing. The findings are returned, not raised; each ends with its
        remedy.
        """
        about = priority_class, type, adjustment, job, sub_job, information, relative_priority
        task = None if command is None else ctypes.byref(task_of(command, *about))

        def find(handle: ctypes.c_void_p) -> list[Error]:
            findings: list[Error] = []

            def add(_: object, finding: "ctypes._Pointer[ErrorStruct]") -> None:
                findings.append(error_of(finding.contents))

            status = Status(library.velmo_check(handle, task, FindingFunction(add), None))
            if status != Status.OK and not findings:
                raise Error(status.text, status)
            return findings

        # The call does not wait. But ctypes would ignore what a signal handler raises in the
        # function `add`; in the helper thread no handler runs.
        return self._wait(find)

    def list(self) -> "list[str]":
        """The names of the tasks in the queue, in the order in which the service takes them.

        Files whose name is not that of a task are left out.

        Raises Error: NOT_CONFIGURED, SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        handle = self._handle()
        listing = ctypes.c_void_p()
        try:
            call(library.velmo_list, handle.pointer, ctypes.byref(listing))
            count = library.velmo_listing_count(listing)
            return [decoded(library.velmo_listing_name(listing, index)) for index in range(count)]
        finally:
            library.velmo_listing_free(listing)

    def cancel(self, name: str) -> bool:
        """Removes a task from the queue. False: it is not there, or not any more.

        The service may have read the task already, and then runs it.

        Raises Error: INVALID_ARGUMENT, NOT_CONFIGURED, SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        handle = self._handle()
        try:
            call(library.velmo_cancel, handle.pointer, encoded("name", name))
        except Error as error:
            if error.status == Status.NOT_FOUND:
                return False
            raise
        return True

    @property
    def queue_directory(self) -> str | None:
        """The directory of the queue, None if `var` is not set."""
        handle = self._handle()
        path = library.velmo_queue_directory(handle.pointer)
        return None if path is None else os.fsdecode(path)

    def _handle(self) -> _Handle:
        if self._shared is None:
            raise invalid("the installation is closed")
        return self._shared

    def _wait(self, call: Callable[[ctypes.c_void_p], T]) -> T:
        shared = self._handle()
        if not in_main_thread():
            return call(shared.pointer)
        handle = self._idle.pop() if self._idle else _Handle(self._settings)

        def work() -> T:
            try:
                return call(handle.pointer)
            finally:
                self._idle.append(handle)

        return interruptible(work, handle.stop)


def _flags(durable: bool) -> int:
    return DURABLE if durable else 0
