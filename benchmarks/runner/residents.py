"""Resident processes, and turns of blocks between them."""

from __future__ import annotations

import os
import random
import subprocess
from dataclasses import dataclass, field
from typing import Callable, Mapping, Sequence

Reset = Callable[[], None]


def nothing() -> None:
    """The reset of a contender that leaves nothing behind."""


@dataclass(frozen=True)
class Contender:
    """One way to do the work: a program that speaks the protocol in resident.h."""

    name: str
    command: Sequence[str]
    reset: Reset = nothing  # removes what a block left behind


@dataclass(frozen=True)
class Comparison:
    name: str
    reference: str  # the name of the contender that the ratios refer to
    contenders: Sequence[Contender]
    block: int
    rounds: int


class ResidentError(Exception):
    """A resident process did not start, or an operation in it failed."""


@dataclass
class Resident:
    contender: Contender
    environment: Mapping[str, str]
    core: int | None = None  # None: any
    process: subprocess.Popen[str] = field(init=False)

    def __enter__(self) -> Resident:
        self.process = subprocess.Popen(
            self.contender.command, env=dict(self.environment), text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if self.core is not None:
            os.sched_setaffinity(self.process.pid, {self.core})
        if self._answer() != "ready":
            raise ResidentError(f"{self.contender.name} does not start")
        return self

    def __exit__(self, *_: object) -> None:
        assert self.process.stdin is not None and self.process.stdout is not None
        self.process.stdin.close()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()

    def start_block(self, count: int) -> None:
        assert self.process.stdin is not None
        self.process.stdin.write(f"{count}\n")
        self.process.stdin.flush()

    def end_block(self) -> int:
        """The nanoseconds that the block took."""
        answer = self._answer()
        if not answer:
            raise ResidentError(f"an operation of {self.contender.name} failed")
        return int(answer)

    def run(self, count: int) -> float:
        """The nanoseconds of one operation, from a block of them."""
        self.start_block(count)
        took = self.end_block()
        self.contender.reset()
        return took / count

    def _answer(self) -> str:
        assert self.process.stdout is not None
        return self.process.stdout.readline().strip()


def take_turns(residents: Sequence[Resident], block: int, rounds: int) -> dict[str, list[float]]:
    """The nanoseconds of an operation in each round, by contender. The first round warms up."""
    order = list(residents)
    times: dict[str, list[float]] = {resident.contender.name: [] for resident in residents}
    for number in range(rounds + 1):
        random.shuffle(order)
        for resident in order:
            took = resident.run(block)
            if number > 0:
                times[resident.contender.name].append(round(took, 1))
    return times
