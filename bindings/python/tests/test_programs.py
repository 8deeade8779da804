"""The programs that readers copy."""

import os
import re
import subprocess
import sys
import textwrap
from pathlib import Path

import pytest

import velmo

TREE = Path(__file__).parents[3]
EXAMPLE = TREE / "examples/submit_from_python/submit_from_python.py"


def run(*arguments: str | Path, **variables: str) -> tuple[str, str, int]:
    """The output, the error output and the exit status."""
    process = subprocess.run(
        [sys.executable, *arguments], env=os.environ | variables, capture_output=True, text=True
    )
    return process.stdout, process.stderr, process.returncode


def test_first_program_of_the_page(installation: velmo.Installation) -> None:
    page = (TREE / "docs/python.md").read_text()
    program = re.search(r"^    import sys\n(?:    .*\n|\n)+", page, re.MULTILINE)
    assert program is not None
    output, errors, status = run("-c", textwrap.dedent(program[0]))
    assert (errors, status) == ("", 0)
    assert output.splitlines() == installation.list()


@pytest.mark.parametrize("how", ["by file", "by message"])
def test_example_submits_its_tasks(how: str, installation: velmo.Installation) -> None:
    output, errors, status = run(EXAMPLE, *["--message"] * (how == "by message"))
    assert (errors, status) == ("", 0)
    assert sorted(output.replace("queued ", "").splitlines()) == installation.list()
    parts = [velmo.parse_name(name) for name in installation.list()]
    assert sorted(part.sub_job for part in parts if part) == ["0", "0_report", "1_report_print"]
    assert len({part.job for part in parts if part}) == 1


def test_example_says_what_is_missing(installation: velmo.Installation) -> None:
    assert run(EXAMPLE, LOCK_VAR="") == ("", "not queued: LOCK_VAR is not set\n", 2)
    assert run(EXAMPLE, "--message", VELMO_MODULES_XML="/none") == (
        "",
        'not queued: cannot read "/none": No such file or directory\n',
        2,
    )
    assert installation.list() == []
