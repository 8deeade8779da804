"""Who is compared with whom, and in which blocks."""

from __future__ import annotations

import shutil
import sqlite3
import subprocess
from contextlib import ExitStack
from dataclasses import dataclass, field
from pathlib import Path
from typing import NamedTuple, Sequence

from .daemons import BEANSTALKD, GEARMAND, REDIS, AnsweringService, DaemonKind
from .installation import Installation
from .residents import Comparison, Contender, Reset, nothing

# Debian's, which finds Debian's modules.
PYTHON = "/usr/bin/python3"
PEERS_SOURCE = Path(__file__).parent.parent / "peers"

# The time of a block is short beside a slice of the scheduler, and long beside a wake-up.
BLOCK = 200


@dataclass
class Setting:
    """Where comparisons run. The daemons that they need live as long as `cleanup`."""

    build: Path
    work: Path
    installation: Installation
    core: int
    cleanup: ExitStack
    rounds: int
    missing: list[str] = field(default_factory=list)

    def road(self, program: str) -> str:
        return str(self.build / "benchmarks/roads" / program)

    def peer(self, program: str) -> str | None:
        path = self.build / "benchmarks/peers" / program
        if path.exists():
            return str(path)
        self.missing.append(program)
        return None

    def daemon(self, kind: DaemonKind) -> DaemonInUse | None:
        if kind.path() is None:
            self.missing.append(kind.program)
            return None
        daemon = self.cleanup.enter_context(kind.start(self.work, self.core))
        return DaemonInUse(str(daemon.port), lambda: kind.drain(daemon.control))


class DaemonInUse(NamedTuple):
    port: str
    empty: Reset


LIBRARY, CLIENT, PLAIN_C, FLOOR = "libvelmo", "libvelmo-client", "plain C", "floor"
POCO, FRAMES, STREAMS = "POCO", "POCO, frames only", "POCO, by streams"


def _contenders(setting: Setting, road: str, names: Sequence[str],
                arguments: Sequence[str] = ()) -> list[Contender]:
    programs = {LIBRARY: "library_road", CLIENT: "client_road", PLAIN_C: "plain_c_road",
                FLOOR: "floor_road"}
    reset = setting.installation.empty_queue if road.startswith("by-file") else nothing
    return [Contender(name, [setting.road(programs[name]), road, *arguments], reset)
            for name in names]


def by_file(setting: Setting) -> list[Comparison]:
    everyone = (LIBRARY, CLIENT, PLAIN_C, FLOOR)
    rounds = setting.rounds
    return [
        Comparison(road, PLAIN_C, _contenders(setting, road, everyone), block, count)
        for road, block, count in [
            ("by-file", BLOCK, rounds), ("by-file-new-job", BLOCK // 2, rounds),
            ("job-number", BLOCK // 2, rounds), ("by-file-10mb", 2, max(2, rounds // 4))]
    ]


def of_jobs(setting: Setting) -> list[Comparison]:
    everyone = (LIBRARY, PLAIN_C, FLOOR)
    return [
        Comparison(road, PLAIN_C, _contenders(setting, road, everyone), BLOCK * 5, setting.rounds)
        for road in ("job-hit-max-age", "job-hit")
    ]


def of_misses(setting: Setting, sizes: Sequence[int]) -> list[Comparison]:
    def contender(road: str, size: int, name: str) -> Contender:
        return Contender(name, [setting.road("library_road"), road, str(size)])

    return [
        Comparison(
            f"job-miss {size}", "room",
            [contender("job-miss", size, "room"), contender("job-miss-full", size, "full")],
            max(2, 20000 // size // 10), min(20, setting.rounds))
        for size in sizes
    ]


def of_properties(setting: Setting, sizes: Sequence[int]) -> list[Comparison]:
    return [
        Comparison(
            f"properties {size}", LIBRARY,
            _contenders(setting, "properties", [LIBRARY], [str(size)]),
            max(1, 10000 // size), max(2, setting.rounds // 10))
        for size in sizes
    ]


def by_message(setting: Setting) -> list[Comparison]:
    service = setting.cleanup.enter_context(AnsweringService(setting.build, setting.core))
    port = str(service.port)
    poco = setting.road("bare_poco_road")
    trips = _contenders(setting, "by-message", (LIBRARY, CLIENT, FLOOR), [port])
    trips += [Contender(POCO, [poco, "by-message", port]),
              Contender(STREAMS, [poco, "by-message-streams", port]),
              Contender(FRAMES, [poco, "frames", port])]
    for name, program in [("Boost.Beast", "beast_peer"), ("libwebsockets", "libwebsockets_peer"),
                          ("websocketpp", "websocketpp_peer")]:
        path = setting.peer(program)
        if path is not None:
            trips.append(Contender(name, [path, port]))
    connections = _contenders(setting, "connection", (LIBRARY, CLIENT, FLOOR), [port])
    connections.append(Contender(POCO, [poco, "connection", port]))
    return [Comparison("by-message", POCO, trips, BLOCK // 2, setting.rounds),
            Comparison("connection", POCO, connections, BLOCK // 10, setting.rounds)]


# --- peers ---


def _sqlite(setting: Setting, journal: str, synchronous: str) -> list[Contender]:
    program = setting.peer("sqlite_peer")
    if program is None:
        return []
    file = setting.work / f"queue-{journal}.sqlite"

    def empty() -> None:
        with sqlite3.connect(file) as database:
            database.execute("DELETE FROM queue")
        database.close()

    return [Contender(f"SQLite, {journal}, {synchronous}",
                      [program, str(file), journal, synchronous], empty)]


def _daemon_peer(setting: Setting, name: str, program: str, kind: DaemonKind) -> list[Contender]:
    path = setting.peer(program)
    daemon = setting.daemon(kind) if path is not None else None
    return [Contender(name, [path, daemon.port], daemon.empty)] if path and daemon else []


def _directory_peer(setting: Setting, name: str, module: str, program: str,
                    pattern: str) -> list[Contender]:
    if subprocess.run([PYTHON, "-c", f"import {module}"], capture_output=True,
                      check=False).returncode != 0:
        setting.missing.append(module)
        return []
    directory = setting.work / program.partition("_")[0]

    def empty() -> None:
        for file in directory.glob(pattern):
            file.unlink()

    # Without -B, Python would write its compiled modules into the source.
    return [Contender(name, [PYTHON, "-B", str(PEERS_SOURCE / program), str(directory)],
                      empty)]


def file_peers(setting: Setting) -> list[Contender]:
    return (_directory_peer(setting, "Maildir (Python)", "mailbox", "maildir_peer.py", "new/*")
            + _directory_peer(setting, "dirq (Python)", "dirq", "dirq_peer.py", "*/*")
            + _sqlite(setting, "DELETE", "FULL") + _sqlite(setting, "WAL", "NORMAL"))


def daemon_peers(setting: Setting) -> list[Contender]:
    return (_daemon_peer(setting, "beanstalkd", "beanstalk_peer", BEANSTALKD)
            + _daemon_peer(setting, "redis, RPUSH", "redis_peer", REDIS)
            + _daemon_peer(setting, "gearmand, background job", "gearman_peer", GEARMAND))


BY_FILE, BY_MESSAGE = ", by file", ", by message"


def _renamed(contenders: Sequence[Contender], suffix: str) -> list[Contender]:
    return [Contender(contender.name + suffix, contender.command, contender.reset)
            for contender in contenders]


def hand_over(setting: Setting) -> Comparison:
    service = setting.cleanup.enter_context(AnsweringService(setting.build, setting.core))
    both = (LIBRARY, CLIENT)
    contenders = _renamed(_contenders(setting, "by-file", both), BY_FILE)
    messages = _contenders(setting, "by-message", both, [str(service.port)])
    contenders += _renamed(messages, BY_MESSAGE)
    contenders += file_peers(setting) + daemon_peers(setting)
    return Comparison("hand-over", LIBRARY + BY_FILE, contenders, BLOCK // 4,
                      max(2, setting.rounds // 2))


def hand_over_by_file(setting: Setting) -> Comparison:
    contenders = _renamed(_contenders(setting, "by-file", (LIBRARY, CLIENT)), BY_FILE)
    return Comparison("hand-over", LIBRARY + BY_FILE, contenders + file_peers(setting), BLOCK // 4,
                      max(2, setting.rounds // 2))


def has_program(setting: Setting, program: str) -> bool:
    if shutil.which(program) is not None:
        return True
    setting.missing.append(program)
    return False
