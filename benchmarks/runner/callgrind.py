"""Reads the file of callgrind: the instructions of each program and library."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Iterable

_OBJECT = re.compile(r"c?ob=\((\d+)\)(?: (.*))?$")
_COST = re.compile(r"[+*\d-]\S* (\d+)$")


def by_object(file: Path) -> dict[str, int]:
    with open(file, encoding="utf-8", errors="replace") as lines:
        return _sum(lines)


def _sum(lines: Iterable[str]) -> dict[str, int]:
    names: dict[str, str] = {}  # callgrind writes a name once, with a number for later
    costs: dict[str, int] = {}
    current = "unknown"
    is_of_call = False  # the cost behind "calls=" is part of the function that is called
    for line in lines:
        found = _OBJECT.match(line)
        if found:
            number, name = found.groups()
            if name:
                names[number] = _short(name)
            if line.startswith("ob="):
                current = names[number]
        elif line.startswith("calls="):
            is_of_call = True
        elif (cost := _COST.match(line)) is not None:
            if not is_of_call:
                costs[current] = costs.get(current, 0) + int(cost.group(1))
            is_of_call = False
    return costs


def _short(path: str) -> str:
    """ "libc" for "/usr/lib/x86_64-linux-gnu/libc.so.6"."""
    return Path(path).name.partition(".so")[0]
