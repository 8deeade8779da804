"""The machine, and the versions of what was measured."""

from __future__ import annotations

import os
import platform
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

PACKAGES = {
    "gearmand": "gearman-job-server", "libgearman": "libgearman8", "dirq": "python3-dirq",
    "beanstalkd": "beanstalkd", "redis": "redis-server", "hiredis": "libhiredis0.14",
    "SQLite": "libsqlite3-0", "nq": "nq", "task-spooler": "task-spooler", "at": "at",
    "Boost": "libboost1.74-dev", "libwebsockets": "libwebsockets-dev",
    "websocketpp": "libwebsocketpp-dev", "POCO": "libpoco-dev",
    "Protocol Buffers": "libprotobuf-dev", "glibc": "libc6", "g++": "g++-12",
    "Python": "python3.11",
}


def work_parent() -> Path:
    """Where files cost no disk."""
    memory = Path("/dev/shm")
    return memory if memory.is_dir() else Path(tempfile.gettempdir())


def _first(pattern: str, text: str) -> str:
    found = re.search(pattern, text, re.MULTILINE)
    return found.group(1).strip() if found else "unknown"


def description(work: Path) -> dict[str, str]:
    memory = int(_first(r"MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text()))
    return {
        "processor": _first(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text()),
        "cores": str(len(os.sched_getaffinity(0))),
        "memory": f"{round(memory / 2**20)} GiB",
        "kernel": platform.release(),
        "system": _first(r'PRETTY_NAME="(.*)"', Path("/etc/os-release").read_text()),
        "load": " ".join(f"{load:.1f}" for load in os.getloadavg()),
        "work": _file_system(work),
    }


def _file_system(directory: Path) -> str:
    result = subprocess.run(["stat", "-f", "-c", "%T", directory], capture_output=True, text=True,
                            check=True)
    return result.stdout.strip()


def _package_version(package: str) -> str | None:
    result = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package],
                            capture_output=True, text=True, check=False)
    return result.stdout or None


def versions() -> dict[str, str]:
    found = {name: _package_version(package) for name, package in PACKAGES.items()}
    return {name: version for name, version in found.items() if version}


def commit(source: Path) -> str:
    if shutil.which("git") is None:
        return "unknown"
    result = subprocess.run(["git", "-C", source, "describe", "--always", "--dirty", "--abbrev=12",
                             "--exclude=*"], capture_output=True, text=True, check=False)
    return result.stdout.strip() or "unknown"
