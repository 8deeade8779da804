"""Programs that are started once for each task."""

from __future__ import annotations

import os
import random
import re
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Mapping, Sequence

from .comparisons import Setting, has_program
from .measure import progress
from .residents import Reset

VELMO = "velmo submit"


@dataclass(frozen=True)
class Command:
    name: str
    words: Sequence[str]
    environment: Mapping[str, str]
    reset: Reset


def _quiet(words: Sequence[str], environment: Mapping[str, str]) -> str:
    return subprocess.run(words, env=dict(environment), capture_output=True, text=True,
                          check=False).stdout


def _velmo(setting: Setting) -> Command:
    tool = str(setting.build / "tools/velmo/velmo")
    return Command(VELMO, [tool, "submit", "-p", "Normal", "-j", "J1", "true"],
                   setting.installation.environment, setting.installation.empty_queue)


def _nq(setting: Setting) -> Command:
    directory = setting.work / "nq"
    directory.mkdir()
    environment = {**os.environ, "NQDIR": str(directory)}

    def empty() -> None:
        _quiet(["nq", "-w"], environment)
        for file in directory.iterdir():
            file.unlink()

    return Command("nq", ["nq", "-q", "true"], environment, empty)


def _task_spooler(setting: Setting) -> Command:
    environment = {**os.environ, "TMPDIR": str(setting.work),
                   "TS_SOCKET": str(setting.work / "task-spooler.socket")}
    setting.cleanup.callback(lambda: _quiet(["tsp", "-K"], environment))

    def empty() -> None:
        _quiet(["tsp", "-w"], environment)
        _quiet(["tsp", "-C"], environment)

    return Command("task-spooler", ["tsp", "-n", "true"], environment, empty)


_AT_QUEUE = "v"  # of its letter alone, so that only the jobs of this run are removed


def _at(setting: Setting) -> Command:
    script = setting.work / "at.sh"
    script.write_text("true\n")
    words = ["at", "-M", "-q", _AT_QUEUE, "-f", str(script), "now + 1 day"]

    def empty() -> None:
        jobs = re.findall(r"^(\d+)", _quiet(["atq", "-q", _AT_QUEUE], os.environ), re.MULTILINE)
        if jobs:
            _quiet(["atrm", *jobs], os.environ)

    return Command("at", words, os.environ, empty)


_NULL_STREAMS = [(os.POSIX_SPAWN_OPEN, descriptor, os.devnull, os.O_RDWR, 0)
                 for descriptor in (0, 1, 2)]


def _milliseconds(command: Command, starts: int) -> float:
    path = command.words[0]
    start = time.monotonic_ns()
    for _ in range(starts):
        process = os.posix_spawnp(path, list(command.words), dict(command.environment),
                                  file_actions=_NULL_STREAMS)
        os.waitpid(process, 0)
    took = time.monotonic_ns() - start
    command.reset()
    return took / starts / 1e6


def measure_commands(setting: Setting, starts: int, rounds: int) -> dict[str, Any]:
    """Milliseconds from the start of a command to its end, on one core, in each round."""
    makers = {"nq": _nq, "tsp": _task_spooler, "at": _at}
    commands = [_velmo(setting)]
    commands += [make(setting) for program, make in makers.items() if has_program(setting, program)]
    progress(f"{len(commands)} commands, {rounds} rounds of {starts}")
    times: dict[str, list[float]] = {command.name: [] for command in commands}
    allowed = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {setting.core})
    try:
        for warm_up in [True] + [False] * rounds:
            for command in random.sample(commands, len(commands)):
                took = _milliseconds(command, starts)
                if not warm_up:
                    times[command.name].append(round(took, 4))
    finally:
        os.sched_setaffinity(0, allowed)
    return {"reference": VELMO, "starts": starts, "rounds": rounds, "milliseconds": times}


def measure_process_start(setting: Setting, rounds: int, starts: int) -> str | None:
    """What compare_installed prints: one JSON object a line; None if it cannot run."""
    script = Path(__file__).parent.parent / "process_start/compare_installed"
    if not script.exists() or os.geteuid() != 0:
        return None
    progress("processes that submit one task")
    result = subprocess.run([script, setting.build, str(rounds), str(starts)],
                            capture_output=True, text=True, check=False)
    return result.stdout if result.returncode == 0 else None
