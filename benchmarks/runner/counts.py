"""System calls and user instructions of one operation: the difference of two counts."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
from pathlib import Path
from typing import Mapping, Sequence

from .residents import Contender

FEW, MANY = 20, 60
WARM_UP = 10


class CountError(Exception):
    """A program could not be counted."""


def _run(command: Sequence[str], environment: Mapping[str, str], core: int, count: int) -> str:
    """Runs a resident in a tool. Returns what the tool wrote to standard error."""
    result = subprocess.run(
        ["taskset", "-c", str(core), *command], env=dict(environment),
        input=f"{WARM_UP}\n{count}\n", text=True, capture_output=True, check=False, timeout=300)
    if result.returncode != 0:
        raise CountError(f"{command}: {result.stderr[-500:]}")
    return result.stderr


def _calls(contender: Contender, environment: Mapping[str, str], core: int, count: int,
           file: Path) -> dict[str, int]:
    command = ["strace", "-qq", "-c", "-U", "calls,name", "-o", str(file), *contender.command]
    _run(command, environment, core, count)
    contender.reset()
    found = re.findall(r"^\s*(\d+)\s+(\w+)$", file.read_text(), re.MULTILINE)
    return {name: int(calls) for calls, name in found if name != "total"}


def calls_of(contender: Contender, environment: Mapping[str, str], core: int,
             work: Path) -> dict[str, float] | None:
    """The system calls of one operation, by name; None without strace."""
    if shutil.which("strace") is None:
        return None
    few = _calls(contender, environment, core, FEW, work / "strace.out")
    many = _calls(contender, environment, core, MANY, work / "strace.out")
    calls = {name: (many[name] - few.get(name, 0)) / (MANY - FEW) for name in many}
    return {name: round(number, 2) for name, number in sorted(calls.items()) if number > 0.01}


def _instructions(contender: Contender, environment: Mapping[str, str], core: int,
                  count: int) -> int:
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={os.devnull}",
               "--toggle-collect=run_block", *contender.command]
    output = _run(command, environment, core, count)
    contender.reset()
    found = re.search(r"Collected : (\d+)", output)
    if found is None:
        raise CountError(f"{contender.name}: no count of callgrind")
    return int(found.group(1))


def instructions_of(contender: Contender, environment: Mapping[str, str],
                    core: int) -> int | None:
    """The user instructions of one operation; None for Python programs and without valgrind."""
    if shutil.which("valgrind") is None or "python" in Path(contender.command[0]).name:
        return None
    few = _instructions(contender, environment, core, FEW)
    many = _instructions(contender, environment, core, MANY)
    return round((many - few) / (MANY - FEW))
