"""Submits tasks to the velmo task service.

Installation submits by file, to the service of this machine. Connection submits by message, to a
service elsewhere.

    with velmo.Installation() as installation:
        try:
            print(installation.submit("/usr/bin/report", priority_class="Normal", timeout=5))
        except velmo.InDoubt as doubt:
            sys.exit(f"perhaps queued, look before you repeat: {doubt}")
        except velmo.Error as error:
            sys.exit(f"not queued: {error}")

Timeouts are in seconds; None is no limit. Wrong arguments raise Error with INVALID_ARGUMENT: also
a timeout that is negative or not a number, a number beyond an int of C, and a text with a NUL byte.
In texts and paths, bytes that are not UTF-8 are surrogate escapes, as in the module os.

Ctrl-C interrupts a call that waits. The KeyboardInterrupt is raised when the call has ended. Its
`__cause__` tells how the call ended: see Completed.
"""

from ._errors import Completed, Error, InDoubt, Status
from ._library import version
from .connection import Connection, find_service
from .installation import Installation, Job
from .names import TaskName, child_sub_job, parse_name
from .settings import Settings

__all__ = [
    "Completed",
    "Connection",
    "Error",
    "InDoubt",
    "Installation",
    "Job",
    "Settings",
    "Status",
    "TaskName",
    "child_sub_job",
    "find_service",
    "parse_name",
    "version",
]
