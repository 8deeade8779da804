"""The queue of this machine."""

import ctypes
import os
from dataclasses import dataclass
from types import TracebackType
from typing import Self

from ._calls import (
    StrPath,
    call,
    call_for_name,
    decoded,
    encoded,
    encoded_path,
    error_of,
    integer,
    milliseconds,
    sized,
    task_of,
)
from ._errors import Error, Status
from ._handles import Handles
from ._library import DURABLE, ErrorStruct, FindingFunction, JobStruct, library
from .settings import Settings


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


class Installation:
    """The queue of this machine, and the counters that name its tasks and jobs.

    It never changes: changes of the environment, or of the priority files, have no effect on it.
    Any number of threads may use it at once, and a child process after a fork.
    """

    def __init__(self, settings: Settings | None = None) -> None:
        """Loads the priority files. Anything missing is reported by the call that needs it.

        settings -- None: those of the environment
        """
        self._handles = Handles(settings or Settings.from_environment())

    def close(self) -> None:
        """Closes the installation. Calls that other threads are in are not affected."""
        self._handles.close()

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
        return self._handles.run(
            lambda handle: call_for_name(library.velmo_submit, handle, ctypes.byref(task), *waits)
        )

    def new_job(self, *, timeout: float | None, durable: bool = False) -> str:
        """Takes the identifier of a new job, for tasks that belong together.

        timeout -- seconds to wait for the job counter; None: no limit; 0: no wait
        durable -- return after a power cut can no longer lose the number of the job

        Raises Error: INVALID_ARGUMENT, NOT_CONFIGURED, TIMED_OUT, SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        waits = milliseconds(timeout), _flags(durable)
        return self._handles.run(
            lambda handle: call_for_name(library.velmo_new_job, handle, *waits)
        )

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

        return self._handles.run(find)

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
        return self._handles.run(find)

    def list(self) -> "list[str]":
        """The names of the tasks in the queue, in the order in which the service takes them.

        Files whose name is not that of a task are left out.

        Raises Error: NOT_CONFIGURED, SYSTEM_ERROR or OUT_OF_MEMORY.
        """
        handle = self._handles.shared()
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
        handle = self._handles.shared()
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
        handle = self._handles.shared()
        path = library.velmo_queue_directory(handle.pointer)
        return None if path is None else os.fsdecode(path)


def _flags(durable: bool) -> int:
    return DURABLE if durable else 0
