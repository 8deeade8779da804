"""benchmarks/compare_roads: some comparisons, as a table."""

from __future__ import annotations

import argparse
import os
import tempfile
from contextlib import ExitStack
from pathlib import Path
from typing import Any

from . import comparisons, machine, measure
from .comparisons import Setting
from .installation import Installation
from .intervals import median, ratios
from .residents import Comparison

SOURCE = Path(__file__).parent.parent.parent


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="benchmarks/compare_roads", description="Compares roads on one core.")
    parser.add_argument("roads", nargs="*", metavar="ROAD", help="default: list them")
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("--counts", action="store_true",
                        help="also count system calls and instructions")
    parser.add_argument("--build", type=Path, default=SOURCE / "build/release", metavar="DIR")
    parser.add_argument("--work", type=Path, default=machine.work_parent(), metavar="DIR")
    return parser.parse_args()


def available(setting: Setting) -> list[Comparison]:
    return (comparisons.by_file(setting) + comparisons.of_jobs(setting)
            + comparisons.by_message(setting) + [comparisons.hand_over(setting)]
            + comparisons.of_misses(setting, (100, 1000, 10000))
            + comparisons.of_properties(setting, (10, 1000, 100000)))


def print_table(name: str, result: dict[str, Any], counts: dict[str, Any]) -> None:
    reference = result["nanoseconds"][result["reference"]]
    print(f"{name}: microseconds, ratio to {result['reference']} [95 %]")
    for contender, times in result["nanoseconds"].items():
        low, middle, high = ratios(times, reference)
        line = f"  {contender:28} {median(times) / 1e3:10.2f} {middle:7.3f} [{low:.3f}, {high:.3f}]"
        if counts:
            calls, instructions = (sum((counts[contender][kind] or {}).values())
                                   for kind in ("calls", "instructions"))
            line += f" {instructions} instructions, {calls:g} calls"
        print(line)


def main() -> int:
    arguments = parse_arguments()
    with ExitStack() as cleanup:
        work = Path(cleanup.enter_context(
            tempfile.TemporaryDirectory(prefix="velmo-benchmarks.", dir=arguments.work)))
        build = arguments.build.resolve()
        installation = cleanup.enter_context(Installation(build, work))
        setting = Setting(build, work, installation, max(os.sched_getaffinity(0)), cleanup,
                          arguments.rounds)
        for comparison in available(setting):
            if not arguments.roads:
                print(comparison.name)
            elif comparison.name in arguments.roads:
                result = measure.compare(setting, comparison)
                counts = measure.count(setting, comparison) if arguments.counts else {}
                print_table(comparison.name, result, counts)
    return 0
