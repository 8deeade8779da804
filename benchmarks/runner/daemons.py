"""The daemons that contenders speak to: on loopback, with their data in the work directory."""

from __future__ import annotations

import os
import shutil
import socket
import struct
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Sequence

START_SECONDS = 10.0
LOOPBACK = "127.0.0.1"


def free_port() -> int:
    with socket.socket() as probe:
        probe.bind((LOOPBACK, 0))
        return int(probe.getsockname()[1])


def _connected(port: int) -> socket.socket:
    deadline = time.monotonic() + START_SECONDS
    while True:
        try:
            control = socket.create_connection((LOOPBACK, port), START_SECONDS)
            control.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            return control
        except OSError:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.02)


class Daemon:
    """A process that listens on a port. It is pinned to a core and ended by its id."""

    def __init__(self, command: Sequence[str], port: int, work: Path, core: int) -> None:
        self.port = port
        with open(work / f"{Path(command[0]).name}.log", "ab") as log:
            self._process = subprocess.Popen(
                ["taskset", "-c", str(core), *command], cwd=work,
                stdin=subprocess.PIPE, stdout=log, stderr=log)
        self.control = _connected(port)

    def __enter__(self) -> Daemon:
        return self

    def __exit__(self, *_: object) -> None:
        self.control.close()
        self._process.terminate()
        self._process.communicate()


@dataclass(frozen=True)
class DaemonKind:
    """How to start a daemon, and how to empty its queue over a connection."""

    program: str
    arguments: Callable[[int, Path], Sequence[str]]
    drain: Callable[[socket.socket], None]

    def path(self) -> str | None:
        return shutil.which(self.program, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")

    def start(self, work: Path, core: int) -> Daemon:
        path = self.path()
        assert path is not None
        port = free_port()
        return Daemon([path, *self.arguments(port, work)], port, work, core)


def _drain_redis(control: socket.socket) -> None:
    control.sendall(b"DEL queue\r\n")
    control.recv(64)


def _drain_beanstalkd(control: socket.socket) -> None:
    with control.makefile("rb") as replies:
        while True:
            control.sendall(b"reserve-with-timeout 0\r\n")
            reply = replies.readline()
            if not reply.startswith(b"RESERVED"):
                return
            replies.readline()  # the job's text
            control.sendall(b"delete " + reply.split()[1] + b"\r\n")
            replies.readline()


_CAN_DO, _GRAB_JOB, _JOB_ASSIGN, _WORK_COMPLETE = 1, 9, 11, 13


def _gearman_packet(kind: int, body: bytes = b"") -> bytes:
    return b"\0REQ" + struct.pack(">II", kind, len(body)) + body


def _receive_gearman_packet(control: socket.socket) -> tuple[int, bytes]:
    header = control.recv(12, socket.MSG_WAITALL)
    kind, size = struct.unpack(">II", header[4:])
    return kind, control.recv(size, socket.MSG_WAITALL) if size else b""


def _drain_gearmand(control: socket.socket) -> None:
    control.sendall(_gearman_packet(_CAN_DO, b"velmo"))
    while True:
        control.sendall(_gearman_packet(_GRAB_JOB))
        kind, body = _receive_gearman_packet(control)
        if kind != _JOB_ASSIGN:
            return
        handle = body.split(b"\0", 1)[0]
        control.sendall(_gearman_packet(_WORK_COMPLETE, handle + b"\0"))


REDIS = DaemonKind(
    "redis-server",
    lambda port, work: ["--bind", LOOPBACK, "--port", str(port), "--save", "",
                        "--appendonly", "no", "--dir", str(work)],
    _drain_redis)
BEANSTALKD = DaemonKind(
    "beanstalkd", lambda port, _: ["-l", LOOPBACK, "-p", str(port)], _drain_beanstalkd)
GEARMAND = DaemonKind(
    "gearmand",
    lambda port, work: ["--listen", LOOPBACK, "--port", str(port),
                        "--log-file", str(work / "gearmand.messages")],
    _drain_gearmand)


class AnsweringService:
    """The service of the round trips."""

    def __init__(self, build: Path, core: int) -> None:
        self._process = subprocess.Popen(
            ["taskset", "-c", str(core), build / "benchmarks/roads/answering_service"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert self._process.stdout is not None
        self.port = int(self._process.stdout.readline())

    def __enter__(self) -> AnsweringService:
        return self

    def __exit__(self, *_: object) -> None:
        self._process.communicate()
