"""The protocol of a resident process, as in resident.h."""

import sys
import time
from typing import Callable


def run_block(operation: Callable[[], object], count: int) -> None:
    for _ in range(count):
        operation()


def serve(operation: Callable[[], object]) -> None:
    print("ready", flush=True)
    for line in sys.stdin:
        count = int(line)
        start = time.monotonic_ns()
        run_block(operation, count)
        print(time.monotonic_ns() - start, flush=True)
