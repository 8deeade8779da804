#!/usr/bin/env python3
"""Submits tasks to the velmo service: a job of two tasks, and a child of the first.

The environment describes the installation of this machine. To try this program without a service:

    velmo-standin -- python3 submit_from_python.py

With the argument "--message" it sends the tasks over a connection to the service that modules.xml
names, on this machine or another one:

    velmo-standin --port 0 -- python3 submit_from_python.py --message
"""

import functools
import sys
from collections.abc import Callable

import velmo


def submit_job(job: str, submit: Callable[..., str]) -> None:
    """Submits tasks that belong together: they have the same job."""
    print("queued", submit("echo collect", priority_class="Normal", job=job, sub_job="0_report"))
    print("queued", submit("echo archive", priority_class="Batch", adjustment="Sooner", job=job))
    child = velmo.child_sub_job("0_report", "print")  # 1_report_print
    print("queued", submit("echo print", priority_class="Normal", job=job, sub_job=child))


def submit_by_file() -> None:
    with velmo.Installation() as installation:
        job = installation.new_job(timeout=5)
        # Durable: after a power cut, the tasks are still queued.
        submit_job(job, functools.partial(installation.submit, timeout=5, durable=True))


def submit_by_message() -> None:
    with velmo.Connection(timeout=5) as connection:
        submit_job("J12", functools.partial(connection.send, timeout=5))
        connection.close(timeout=1)


def main() -> int:
    try:
        submit_by_message() if sys.argv[1:] == ["--message"] else submit_by_file()
    except velmo.InDoubt as doubt:  # submitting it again may run it twice
        print("look before you repeat:", doubt, file=sys.stderr)
        return doubt.status
    except velmo.Error as error:  # certainly not queued
        print("not queued:", error, file=sys.stderr)
        return error.status
    return 0


if __name__ == "__main__":
    sys.exit(main())
