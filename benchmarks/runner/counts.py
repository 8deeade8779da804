"""System calls and user instructions of one operation: the difference of two counts."""

from __future__ import annotations

import re
import shutil
import subprocess
from pathlib import Path
from typing import Mapping, Sequence

from .callgrind import by_object
from .residents import Contender

MANY_TIMES_FEW = 3


class CountError(Exception):
    """A program could not be counted."""


def _run(command: Sequence[str], environment: Mapping[str, str], core: int, count: int) -> str:
    """Runs a resident in a tool: one operation, then `count`. Returns its standard error."""
    result = subprocess.run(
        ["taskset", "-c", str(core), *command], env=dict(environment),
        input=f"1\n{count}\n", text=True, capture_output=True, check=False, timeout=300)
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


def calls_of(contender: Contender, environment: Mapping[str, str], core: int, few: int,
             work: Path) -> dict[str, float] | None:
    """The system calls of one operation, by name; None without strace."""
    if shutil.which("strace") is None:
        return None
    many = MANY_TIMES_FEW * few
    less = _calls(contender, environment, core, few, work / "strace.out")
    more = _calls(contender, environment, core, many, work / "strace.out")
    calls = {name: (more[name] - less.get(name, 0)) / (many - few) for name in more}
    return {name: round(number, 2) for name, number in sorted(calls.items()) if number > 0.01}


def _instructions(contender: Contender, environment: Mapping[str, str], core: int, count: int,
                  file: Path) -> dict[str, int]:
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={file}",
               "--toggle-collect=run_block", *contender.command]
    _run(command, environment, core, count)
    contender.reset()
    return by_object(file)


def instructions_of(contender: Contender, environment: Mapping[str, str], core: int, few: int,
                    work: Path) -> dict[str, int] | None:
    """The user instructions of one operation, by program and library; None for Python programs
    and without valgrind."""
    if shutil.which("valgrind") is None or "python" in Path(contender.command[0]).name:
        return None
    many = MANY_TIMES_FEW * few
    less = _instructions(contender, environment, core, few, work / "callgrind.out")
    more = _instructions(contender, environment, core, many, work / "callgrind.out")
    each = {name: round((more[name] - less.get(name, 0)) / (many - few)) for name in more}
    return {name: number for name, number in sorted(each.items()) if number > 0}
