"""A private installation for the contenders, made by velmo-standin."""

from __future__ import annotations

import os
import shlex
import subprocess
from pathlib import Path
from typing import Mapping


class Installation:
    """Its environment, and its queue, which holds no task at first."""

    def __init__(self, build: Path, work: Path) -> None:
        # Few variables: the libraries look some up at each call, and would search all of them.
        environment = {name: os.environ[name] for name in _KEPT if name in os.environ}
        environment |= {"TMPDIR": str(work), "LC_ALL": "C"}
        self._process = subprocess.Popen(
            [build / "tools/standin/velmo-standin", "--no-run"], env=environment, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        assert self._process.stdout is not None
        with self._process.stdout as lines:
            self.environment: Mapping[str, str] = {**environment, **_assignments(lines.read())}
        self._queue = Path(self.environment["VAR"]) / "taskqueue"
        (Path(self.environment["DATA"]) / "velmo/jobs").mkdir(parents=True)
        Path(self.environment["CONF"], "serverid.cfg").write_text("SELF_SERVER_ID=node1\n")

    def __enter__(self) -> Installation:
        return self

    def __exit__(self, *_: object) -> None:
        self._process.terminate()
        self._process.wait()

    def empty_queue(self) -> None:
        """Removes the tasks, but not those of fill_queue()."""
        for entry in os.scandir(self._queue):
            if not entry.name.startswith(_FILLER):
                os.unlink(entry.path)

    def fill_queue(self, count: int) -> None:
        """Raises the number of tasks that stay in the queue to `count`."""
        for number in range(count):
            name = f"{_FILLER}20261122110939.J1.S0.T20261122110939-{number}.R0000.sh"
            (self._queue / name).touch()


_FILLER = "9000."
_KEPT = ("PATH", "HOME", "USER", "LOGNAME")


def _assignments(lines: str) -> dict[str, str]:
    """Of the lines that velmo-standin prints for a shell."""
    result = {}
    for word in shlex.split(lines.replace(";", " ")):
        name, equals, value = word.partition("=")
        if equals:
            result[name] = value
    return result
