"""The programs that readers copy."""

import os
import re
import subprocess
import sys
import textwrap
from pathlib import Path

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


def test_example_submits_its_tasks(installation: velmo.Installation) -> None:
    output, errors, status = run(EXAMPLE)
    assert (errors, status) == ("", 0)
    job, *queued = output.splitlines()
    names = dict(line.removeprefix("queued: ").split(", ") for line in queued)
    assert [names[task] for task in ("notify", "collect", "print")] == installation.list()
    parts = [velmo.parse_name(name) for name in installation.list()]
    assert [part and part.sub_job for part in parts] == ["0", "0_report", "1_report_print"]
    assert {part and part.job for part in parts} == {job.removeprefix("job ")}


def test_example_says_what_is_missing(installation: velmo.Installation) -> None:
    output, errors, status = run(EXAMPLE, LOCK_VAR="")
    assert (output, status) == ("", 1)
    assert any(line.startswith("found: LOCK_VAR is not set") for line in errors.splitlines())
    assert errors.splitlines()[-1] == "not queued: LOCK_VAR is not set"
    assert installation.list() == []
