"""Statuses, exceptions, names, and what is refused before the library is asked."""

import ctypes
import math
import os
import pickle
import subprocess
import sys
from pathlib import Path

import pytest

import velmo
from velmo import Status
from velmo._library import ErrorStruct, library


def refusal(call: object) -> str:
    assert callable(call)
    with pytest.raises(velmo.Error) as caught:
        call()
    assert type(caught.value) is velmo.Error
    assert caught.value.status is caught.value.cause is Status.INVALID_ARGUMENT
    return str(caught.value)


def test_version_is_that_of_the_library() -> None:
    assert velmo.version() == (Path(__file__).parents[3] / "VERSION").read_text().strip()


def test_import_without_the_library_names_its_package() -> None:
    result = subprocess.run(
        [sys.executable, "-c", "import velmo"],
        env=os.environ | {"VELMO_LIBRARY": "/no/library.so"},
        stderr=subprocess.PIPE,
        text=True,
    )
    assert result.returncode == 1
    assert result.stderr.splitlines()[-1] == (
        "ImportError: cannot load the library of libvelmo-client1: "
        "/no/library.so: cannot open shared object file: No such file or directory"
    )


# --- statuses and exceptions ---


def test_status_has_the_text_of_the_library() -> None:
    assert Status.TIMED_OUT.text == "timed out"
    assert all(status.text for status in Status)


def test_status_of_a_later_library_survives() -> None:
    status = Status(99)
    assert (status, status.name, status.value) == (99, "UNKNOWN_99", 99)
    assert isinstance(status, Status)
    assert pickle.loads(pickle.dumps(status)) == status
    assert pickle.loads(pickle.dumps(Status.OK)) is Status.OK
    assert status.text


def test_status_is_a_number() -> None:
    with pytest.raises(ValueError):
        Status("OK")  # type: ignore[arg-type]


def test_error_has_the_cause_of_its_status() -> None:
    error = velmo.Error("gone", Status.CONNECTION_LOST, None, 104)
    assert (error.status, error.cause) == (Status.CONNECTION_LOST, Status.CONNECTION_LOST)
    assert (error.system_error, error.peer_code, str(error)) == (104, 0, "gone")


def test_exceptions_can_be_pickled() -> None:
    error = velmo.InDoubt("m", Status.IN_DOUBT, Status.SYSTEM_ERROR, 5, 1011, "name")
    copy = pickle.loads(pickle.dumps(error))
    assert type(copy) is velmo.InDoubt
    assert vars(copy) == vars(error)
    assert str(copy) == "m"
    assert pickle.loads(pickle.dumps(velmo.Completed("name"))).result == "name"


def fail_with(monkeypatch: pytest.MonkeyPatch, name: bytes = b"", **fields: object) -> None:
    """Has the library fail submissions in this way."""

    def submit(*arguments: object) -> object:
        *_, array, failure = arguments
        array.value = name  # type: ignore[attr-defined]
        given = ErrorStruct(**fields)
        ctypes.memmove(failure, ctypes.byref(given), ctypes.sizeof(given))  # type: ignore[arg-type]
        return fields["status"]

    monkeypatch.setattr(library, "velmo_submit", submit)


def test_error_has_what_the_library_says(
    monkeypatch: pytest.MonkeyPatch, installation: velmo.Installation
) -> None:
    fail_with(monkeypatch, status=6, cause=6, system_error=28, message=b"cannot write")
    with pytest.raises(velmo.Error) as caught:
        installation.submit("true", priority_class="Normal", timeout=0)
    error = caught.value
    assert type(error) is velmo.Error
    assert (error.status, error.cause) == (Status.SYSTEM_ERROR, Status.SYSTEM_ERROR)
    assert (error.system_error, error.peer_code, str(error)) == (28, 0, "cannot write")


def test_in_doubt_has_its_cause_and_the_name_of_the_task(
    monkeypatch: pytest.MonkeyPatch, installation: velmo.Installation
) -> None:
    fail_with(monkeypatch, b"name", status=11, cause=6, system_error=5, message=b"may be queued")
    with pytest.raises(velmo.InDoubt) as caught:
        installation.submit("true", priority_class="Normal", timeout=0, durable=True)
    error = caught.value
    assert (error.status, error.cause) == (Status.IN_DOUBT, Status.SYSTEM_ERROR)
    assert (error.system_error, error.peer_code, error.name) == (5, 0, "name")
    assert str(error) == "may be queued"


def test_unknown_status_of_a_later_library_is_an_error(
    monkeypatch: pytest.MonkeyPatch, installation: velmo.Installation
) -> None:
    fail_with(monkeypatch, status=99, cause=98, message=b"new")
    with pytest.raises(velmo.Error) as caught:
        installation.submit("true", priority_class="Normal", timeout=0)
    assert type(caught.value) is velmo.Error
    assert (caught.value.status, caught.value.cause) == (99, 98)


# --- what is refused ---


@pytest.mark.parametrize(
    "timeout", [math.nan, -1, -0.0001, math.inf, -math.inf, 2**31 / 1000, 10**400]
)
def test_timeout_out_of_range_is_refused(
    timeout: float, installation: velmo.Installation
) -> None:
    message = refusal(lambda: installation.new_job(timeout=timeout))
    assert message == f"timeout is out of range: {timeout}"


def test_timeout_is_a_number(installation: velmo.Installation) -> None:
    with pytest.raises(TypeError):
        installation.new_job(timeout="5")  # type: ignore[arg-type]


@pytest.mark.parametrize(
    ("timeout", "milliseconds"),
    [
        (None, -1),
        (0, 0),
        (0.0, 0),
        (0.0001, 1),
        (0.25, 250),
        (2, 2000),
        ((2**31 - 1) / 1000, 2**31 - 1),
        (True, 1000),
    ],
)
def test_timeout_is_rounded_up_to_milliseconds(
    timeout: float | None,
    milliseconds: int,
    installation: velmo.Installation,
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    given: list[int] = []

    def new_job(_: object, timeout_ms: int, *others: object) -> int:
        given.append(timeout_ms)
        return 0

    monkeypatch.setattr(library, "velmo_new_job", new_job)
    installation.new_job(timeout=timeout)
    assert given == [milliseconds]


@pytest.mark.parametrize(
    "argument", ["type", "adjustment", "job", "sub_job", "information", "priority_class"]
)
def test_text_with_a_nul_byte_is_refused(argument: str, installation: velmo.Installation) -> None:
    arguments = {"priority_class": "Normal"} | {argument: "a\0b"}
    message = refusal(lambda: installation.submit("true", timeout=0, **arguments))  # type: ignore
    assert message == f"{argument} contains a NUL byte"
    assert installation.list() == []


@pytest.mark.parametrize("command", ["a\0b", b"a\0b", "\0"])
def test_command_with_a_nul_byte_is_refused(
    command: str | bytes, installation: velmo.Installation
) -> None:
    message = refusal(
        lambda: installation.submit(command, priority_class="Normal", timeout=0)
    )
    assert message == "command contains a NUL byte"


def test_other_texts_and_paths_with_a_nul_byte_are_refused(
    installation: velmo.Installation,
) -> None:
    refused = " contains a NUL byte"
    settings = velmo.Settings(var="/a\0b")
    connection = velmo.Connection
    assert refusal(lambda: velmo.Installation(settings)) == "var" + refused
    assert refusal(lambda: installation.cancel("a\0b")) == "name" + refused
    assert refusal(lambda: installation.find_job("/a\0b", "k", timeout=0)) == "directory" + refused
    assert refusal(lambda: installation.find_job("/a", "\0", timeout=0)) == "key" + refused
    assert (
        refusal(lambda: installation.find_job("/a", "k", user="\0", timeout=0)) == "user" + refused
    )
    assert refusal(lambda: velmo.child_sub_job("0_\0", "a")) == "parent" + refused
    assert refusal(lambda: velmo.child_sub_job("0_", "\0")) == "suffix" + refused
    assert refusal(lambda: velmo.find_service("\0")) == "modules_xml" + refused
    assert refusal(lambda: connection("a\0b", 1, timeout=0)) == "host" + refused
    assert refusal(lambda: connection("a", 1, "/\0", timeout=0)) == "path" + refused


def test_text_that_no_bytes_stand_for_is_refused(installation: velmo.Installation) -> None:
    lone = "\ud800"
    assert refusal(
        lambda: installation.submit(lone, priority_class="Normal", timeout=0)
    ) == ("command cannot be encoded as UTF-8")
    assert refusal(lambda: velmo.find_service(lone)) == "modules_xml cannot be encoded as a path"


def test_number_beyond_an_int_is_refused(installation: velmo.Installation) -> None:
    def submit(relative_priority: int) -> str:
        return installation.submit(
            "true", priority_class="Normal", relative_priority=relative_priority, timeout=0
        )

    assert refusal(lambda: submit(2**31)) == "relative_priority is out of range: 2147483648"
    assert refusal(lambda: submit(-(2**31) - 1)) == "relative_priority is out of range: -2147483649"
    assert refusal(lambda: velmo.Connection("127.0.0.1", 2**32 + 80, timeout=0)) == (
        "port is out of range: 4294967376"
    )
    assert refusal(lambda: installation.find_job("/a", "k", priority=2**40, timeout=0)) == (
        "priority is out of range: 1099511627776"
    )


def test_text_beyond_its_array_is_refused(installation: velmo.Installation) -> None:
    long = "\u00e9" * 128
    assert refusal(lambda: installation.find_job("/a", "k", user=long, timeout=0)) == (
        "user is too long: 256 bytes"
    )
    assert refusal(lambda: installation.find_job("/a", "k", name=long, timeout=0)) == (
        "name is too long: 256 bytes"
    )


def test_the_library_refuses_the_rest(installation: velmo.Installation) -> None:
    assert (
        refusal(lambda: installation.submit("a\nb", priority_class="Normal", timeout=0))
        == "command contains a line feed"
    )


def test_text_of_another_type_is_a_type_error(installation: velmo.Installation) -> None:
    with pytest.raises(TypeError, match="^command must be a str, not int$"):
        installation.submit(5, priority_class="Normal", timeout=0)  # type: ignore[arg-type]


# --- names ---


def test_name_is_parsed() -> None:
    assert velmo.parse_name("0480.20260102030405.J7.S1_a.T20260102030405-3.R-005.sh") == (
        velmo.TaskName(480, 3, -5, "20260102030405", "J7", "1_a", "sh")
    )


@pytest.mark.parametrize("name", ["", "a", "a\0b", "a/b"])
def test_no_task_has_this_name(name: str) -> None:
    assert velmo.parse_name(name) is None


def test_child_sub_job() -> None:
    assert velmo.child_sub_job("0_a", "b") == "1_a_b"
    with pytest.raises(velmo.Error) as caught:
        velmo.child_sub_job("0", "b")
    assert caught.value.status is Status.INVALID_ARGUMENT
