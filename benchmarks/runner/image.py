"""A fresh file system, ext4 with a journal, in a file of the work directory."""

from __future__ import annotations

import subprocess
from pathlib import Path

SIZE = 1 << 30


class Image:
    """Mounted while the object lives. Needs root."""

    def __init__(self, work: Path) -> None:
        self._file = work / "ext4.image"
        self.directory = work / "ext4"
        self.directory.mkdir()
        with open(self._file, "wb") as file:
            file.truncate(SIZE)
        # All structures are written now: nothing initialises them in the background later.
        subprocess.run(["mkfs.ext4", "-q", "-O", "has_journal", "-N", "250000",
                        "-E", "lazy_itable_init=0,lazy_journal_init=0", self._file], check=True)
        subprocess.run(["mount", "-o", "loop", self._file, self.directory], check=True)

    def __enter__(self) -> Path:
        return self.directory

    def __exit__(self, *_: object) -> None:
        subprocess.run(["umount", self.directory], check=True)
        self._file.unlink()
        self.directory.rmdir()
