#!/usr/bin/env python3
"""Submits tasks to the velmo service of this machine: a job of two tasks, and a child of one of them.

The environment names the service's directories and counters. To try this program without a service:

    velmo-standin -- python3 submit_from_python.py
"""

import sys

import velmo

TIMEOUT = 5  # seconds, for each call


def submit_report(installation: velmo.Installation) -> None:
    # Tasks that belong together share a job.
    job = installation.new_job(timeout=TIMEOUT)
    print("job", job)

    information = "#1USE=demo#1JNA=report"
    collect = installation.submit(
        "echo collect",
        priority_class="Normal",
        job=job,
        sub_job="0_report",
        information=information,
        timeout=TIMEOUT,
        durable=True,  # wait for the disk: a power cut does not lose this task
    )
    print("queued: collect,", collect)

    notify = installation.submit(
        "echo notify", priority_class="Urgent", job=job, information=information, timeout=TIMEOUT
    )
    print("queued: notify,", notify)

    # A child of the sub-job 0_report, marked "print": its sub-job is 1_report_print.
    child = installation.submit(
        "echo print",
        priority_class="Normal",
        adjustment="Later",
        job=job,
        sub_job=velmo.child_sub_job("0_report", "print"),
        information=information,
        timeout=TIMEOUT,
    )
    print("queued: print,", child)


def main() -> None:
    with velmo.Installation() as installation:
        try:
            submit_report(installation)
        except velmo.InDoubt as doubt:
            sys.exit(f"perhaps queued, look before you repeat: {doubt}")
        except velmo.Error as error:
            for finding in installation.check():
                print(f"found: {finding}", file=sys.stderr)
            sys.exit(f"not queued: {error}")


if __name__ == "__main__":
    main()
