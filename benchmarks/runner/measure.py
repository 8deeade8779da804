"""Runs comparisons, and puts what they measured into plain values for JSON."""

from __future__ import annotations

import os
import random
import sys
import time
from contextlib import ExitStack
from typing import Any, Mapping, Sequence

from .comparisons import CLIENT, LIBRARY, PLAIN_C, Setting
from .counts import calls_of, instructions_of
from .residents import Comparison, Contender, Resident, take_turns


def progress(text: str) -> None:
    print(text, file=sys.stderr, flush=True)


def compare(setting: Setting, comparison: Comparison) -> dict[str, Any]:
    """The nanoseconds of an operation in each round, on one core."""
    progress(f"{comparison.name}: {len(comparison.contenders)} contenders,"
             f" {comparison.rounds} rounds of {comparison.block}")
    environment = setting.installation.environment
    with ExitStack() as stack:
        residents = [stack.enter_context(Resident(contender, environment, setting.core))
                     for contender in comparison.contenders]
        times = take_turns(residents, comparison.block, comparison.rounds)
    return {"reference": comparison.reference, "block": comparison.block,
            "rounds": comparison.rounds, "nanoseconds": times}


def count(setting: Setting, comparison: Comparison) -> dict[str, Any]:
    """The system calls and the instructions of each contender."""
    progress(f"{comparison.name}: counts")
    environment = setting.installation.environment
    few = min(20, comparison.block)
    return {
        contender.name: {
            "calls": calls_of(contender, environment, setting.core, few, setting.work),
            "instructions": instructions_of(contender, environment, setting.core, few,
                                            setting.work),
        }
        for contender in comparison.contenders
    }


# --- several processes at once ---


def _race(residents: Sequence[Resident], block: int) -> tuple[float, list[float]]:
    """All residents at once: the seconds until the last has ended, and those of each."""
    start = time.monotonic()
    for resident in residents:
        resident.start_block(block)
    own = [resident.end_block() / 1e9 for resident in residents]
    took = time.monotonic() - start
    residents[0].contender.reset()
    return took, own


def _teams(stack: ExitStack, environment: Mapping[str, str], contenders: Sequence[Contender],
           size: int) -> dict[str, list[Resident]]:
    return {contender.name: [stack.enter_context(Resident(contender, environment))
                             for _ in range(size)]
            for contender in contenders}


def _file_contenders(setting: Setting, roads: Mapping[str, tuple[str, str]]) -> list[Contender]:
    return [Contender(name, [setting.road(program), road], setting.installation.empty_queue)
            for name, (program, road) in roads.items()]


def measure_writers(setting: Setting, counts: Sequence[int], block: int,
                    rounds: int) -> dict[str, Any]:
    """Tasks in a second of all writers together, in each round."""
    roads = {LIBRARY: ("library_road", "by-file"), CLIENT: ("client_road", "by-file"),
             PLAIN_C: ("plain_c_road", "by-file")}
    rates: dict[str, dict[str, list[float]]] = {}
    with ExitStack() as stack:
        teams = _teams(stack, setting.installation.environment,
                       _file_contenders(setting, roads), max(counts))
        for number in counts:
            progress(f"{number} writers")
            rates[str(number)] = {name: [] for name in teams}
            for warm_up in [True] + [False] * rounds:
                for name in random.sample(list(teams), len(teams)):
                    took, _ = _race(teams[name][:number], block)
                    if not warm_up:
                        rates[str(number)][name].append(round(number * block / took, 1))
    return {"block": block, "rounds": rounds, "reference": PLAIN_C, "tasks_per_second": rates}


SEEDED = ", rand() seeded"


def measure_job_lock(setting: Setting, counts: Sequence[int], block: int,
                     rounds: int) -> dict[str, Any]:
    """Milliseconds of a task with a new job: for each round, the mean over all processes."""
    roads = {LIBRARY: ("library_road", "by-file-new-job"),
             LIBRARY + SEEDED: ("library_road", "by-file-new-job-seeded"),
             CLIENT: ("client_road", "by-file-new-job"),
             PLAIN_C + SEEDED: ("plain_c_road", "by-file-new-job-seeded")}
    waits: dict[str, dict[str, list[float]]] = {}
    for number in counts:
        progress(f"{number} processes at the job lock")
        waits[str(number)] = {name: [] for name in roads}
        for _ in range(rounds):
            contenders = _file_contenders(setting, roads)
            for contender in random.sample(contenders, len(contenders)):
                # New processes each time: an unseeded generator repeats its pauses.
                with ExitStack() as stack:
                    team = _teams(stack, setting.installation.environment, [contender], number)
                    _, own = _race(team[contender.name], block)
                waits[str(number)][contender.name].append(
                    round(1e3 * sum(own) / len(own) / block, 4))
    return {"block": block, "rounds": rounds, "milliseconds": waits}


def measure_queue_size(setting: Setting, sizes: Sequence[int], rounds: int) -> dict[str, Any]:
    """Nanoseconds of a task by file, by the number of tasks already in the queue."""
    roads = {LIBRARY: ("library_road", "by-file"), PLAIN_C: ("plain_c_road", "by-file")}
    times = {}
    for size in sizes:
        setting.installation.fill_queue(size)
        comparison = Comparison(f"queue of {size}", PLAIN_C, _file_contenders(setting, roads), 200,
                                rounds)
        times[str(size)] = compare(setting, comparison)["nanoseconds"]
    return {"rounds": rounds, "reference": PLAIN_C, "nanoseconds": times}


def cores() -> list[int]:
    return sorted(os.sched_getaffinity(0))
