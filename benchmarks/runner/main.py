"""benchmarks/run: everything, in one JSON file."""

from __future__ import annotations

import argparse
import datetime
import json
import os
import shlex
import subprocess
import sys
import tempfile
from contextlib import ExitStack
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Sequence

from . import comparisons, machine, measure, processes
from .comparisons import Setting
from .image import Image
from .installation import Installation
from .measure import progress

SOURCE = Path(__file__).parent.parent.parent
TARGETS = ["benchmarks/all", "velmo-standin", "velmo-tool"]


@dataclass(frozen=True)
class Extent:
    """How much is measured."""

    rounds: int  # of the comparisons
    counts: bool  # system calls and instructions
    misses: Sequence[int]
    properties: Sequence[int]
    writers: Sequence[int]
    writer_block: int
    writer_rounds: int
    lock_processes: Sequence[int]
    lock_block: int
    lock_rounds: int
    queue_sizes: Sequence[int]
    queue_rounds: int
    starts: int  # of a command in a round
    start_rounds: int
    unit_seconds: float  # of a unit in Google Benchmark
    unit_filter: str


FULL = Extent(
    rounds=300, counts=True, misses=(100, 1000, 10000), properties=(10, 1000, 100000),
    writers=(1, 2, 4, 8, 16), writer_block=1000, writer_rounds=40,
    lock_processes=(1, 2, 3, 4, 6, 8), lock_block=50, lock_rounds=30,
    queue_sizes=(0, 1000, 10000, 100000), queue_rounds=60, starts=5, start_rounds=60,
    unit_seconds=0.2, unit_filter=".")
QUICK = Extent(
    rounds=2, counts=False, misses=(100,), properties=(10,), writers=(1, 2), writer_block=20,
    writer_rounds=1, lock_processes=(1,), lock_block=2, lock_rounds=1, queue_sizes=(0, 10),
    queue_rounds=1, starts=1, start_rounds=1, unit_seconds=0.001, unit_filter="-/1000")


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="benchmarks/run", description="Measures everything on this machine. benchmarks/report"
        " makes docs/performance.md of it.")
    parser.add_argument("output", type=Path, help="the JSON file to write")
    parser.add_argument("--quick", action="store_true",
                        help="only to see that it runs: the numbers mean nothing")
    parser.add_argument("--image", action="store_true",
                        help="also by file on a fresh ext4 image; needs root")
    parser.add_argument("--build", type=Path, metavar="DIR",
                        help="measure this build; default: build the preset release")
    parser.add_argument("--work", type=Path, metavar="DIR", default=machine.work_parent(),
                        help="parent of the work directory; default: /dev/shm")
    return parser.parse_args()


def built(given: Path | None) -> Path:
    """The directory of the build."""
    if given is not None:
        return given.resolve()
    for command in (["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "--target", *TARGETS]):
        try:
            subprocess.run(command, cwd=SOURCE, stdout=subprocess.DEVNULL, check=True)
        except FileNotFoundError:
            sys.exit("benchmarks/run: cmake not found; on Debian: apt install cmake")
        except subprocess.CalledProcessError:
            sys.exit(f"benchmarks/run: {shlex.join(command)} failed")
    return SOURCE / "build/release"


def compare_all(setting: Setting, extent: Extent) -> dict[str, Any]:
    counted = (comparisons.by_file(setting) + comparisons.of_jobs(setting)
               + comparisons.by_message(setting) + [comparisons.hand_over(setting)])
    timed = (comparisons.of_misses(setting, extent.misses)
             + comparisons.of_properties(setting, extent.properties))
    results = {}
    for comparison in counted + timed:
        results[comparison.name] = measure.compare(setting, comparison)
    if extent.counts:
        for comparison in counted:
            results[comparison.name]["counts"] = measure.count(setting, comparison)
    return results


def on_image(setting: Setting) -> dict[str, Any]:
    """The comparisons by file, in an installation on a fresh file system."""
    progress("on a fresh ext4 image")
    with Image(setting.work) as directory, ExitStack() as cleanup:
        installation = cleanup.enter_context(Installation(setting.build, directory))
        inside = Setting(setting.build, directory, installation, setting.core, cleanup,
                         setting.rounds)
        wanted = comparisons.by_file(inside) + [comparisons.hand_over_by_file(inside)]
        results = {comparison.name: measure.compare(inside, comparison) for comparison in wanted}
    return results


def queue_sizes(setting: Setting, extent: Extent) -> dict[str, Any]:
    """In its own installation, because the tasks stay in the queue."""
    with Installation(setting.build, setting.work) as installation:
        inside = Setting(setting.build, setting.work, installation, setting.core, setting.cleanup,
                         setting.rounds)
        return measure.measure_queue_size(inside, extent.queue_sizes, extent.queue_rounds)


def units(setting: Setting, extent: Extent) -> dict[str, Any]:
    """What the programs of Google Benchmark report."""
    results = {}
    for program in sorted((setting.build / "benchmarks").rglob("*_benchmarks")):
        if not os.access(program, os.X_OK) or program.is_dir():
            continue
        progress(program.name)
        output = subprocess.run(
            ["taskset", "-c", str(setting.core), program, "--benchmark_format=json",
             f"--benchmark_min_time={extent.unit_seconds}",
             f"--benchmark_filter={extent.unit_filter}"],
            env=dict(setting.installation.environment), capture_output=True, text=True, check=True)
        setting.installation.empty_queue()
        results[program.name] = json.loads(output.stdout)["benchmarks"]
    return results


def measure_all(setting: Setting, extent: Extent, image: bool) -> dict[str, Any]:
    return {
        "comparisons": compare_all(setting, extent),
        "image": on_image(setting) if image else None,
        "writers": measure.measure_writers(setting, extent.writers, extent.writer_block,
                                           extent.writer_rounds),
        "job_lock": measure.measure_job_lock(setting, extent.lock_processes, extent.lock_block,
                                             extent.lock_rounds),
        "queue_size": queue_sizes(setting, extent),
        "commands": processes.measure_commands(setting, extent.starts, extent.start_rounds),
        "process_start": processes.measure_process_start(
            setting, extent.start_rounds, extent.starts),
        "units": units(setting, extent),
    }


def _options() -> list[str]:
    return [word for word in sys.argv[1:] if word in ("--quick", "--image")]


def run(arguments: argparse.Namespace) -> dict[str, Any]:
    extent = QUICK if arguments.quick else FULL
    build = built(arguments.build)
    with ExitStack() as cleanup:
        work = Path(cleanup.enter_context(
            tempfile.TemporaryDirectory(prefix="velmo-benchmarks.", dir=arguments.work)))
        header = {
            "date": datetime.date.today().isoformat(),
            "command": shlex.join(["benchmarks/run", *_options(), arguments.output.name]),
            "quick": arguments.quick,
            "commit": machine.commit(SOURCE),
            "machine": machine.description(work),
            "versions": machine.versions(),
        }
        installation = cleanup.enter_context(Installation(build, work))
        # The last core: the first one serves most interrupts.
        setting = Setting(build, work, installation, max(os.sched_getaffinity(0)), cleanup,
                          extent.rounds)
        results = measure_all(setting, extent, arguments.image)
        missing = sorted(set(setting.missing))
    return {**header, "missing": missing, **results}


def main() -> int:
    arguments = parse_arguments()
    result = run(arguments)
    if result["missing"]:
        progress("not measured, because a program or library is missing: "
                 + ", ".join(result["missing"]))
    arguments.output.write_text(json.dumps(result, indent=1) + "\n")
    return 0
