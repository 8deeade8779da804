"""Submissions by file."""

import contextlib
import os
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import TaskCounter, contents_of

import velmo
from velmo import Settings, Status


def status_of(call: object) -> Status:
    assert callable(call)
    with pytest.raises(velmo.Error) as caught:
        call()
    return caught.value.status


def test_task_is_queued_with_everything_that_is_given(installation: velmo.Installation) -> None:
    name = installation.submit(
        "echo 100%%",
        priority_class="Normal",
        type="java",
        adjustment="Sooner",
        job="J7",
        sub_job="3_x",
        information="#1USE=me",
        relative_priority=-5,
        timeout=5,
    )
    parts = velmo.parse_name(name)
    assert parts is not None
    assert (parts.priority, parts.relative_priority, parts.type) == (480, -5, "java")
    assert (parts.job, parts.sub_job) == ("J7", "3_x")
    assert b"echo 100%%" in contents_of(name) and b"#1USE=me" in contents_of(name)
    assert installation.list() == [name]


def test_defaults_are_a_new_job_its_first_sub_job_and_the_shell(
    installation: velmo.Installation,
) -> None:
    first, second = (
        velmo.parse_name(installation.submit("true", priority_class="Batch", timeout=5))
        for _ in range(2)
    )
    assert first is not None and second is not None
    assert (first.priority, first.relative_priority) == (800, 0)
    assert (first.sub_job, first.type) == ("0", "sh")
    assert first.job.startswith("standin-J")
    assert second.job != first.job


def test_none_and_empty_texts_are_the_defaults(installation: velmo.Installation) -> None:
    name = installation.submit(
        "true", priority_class="Normal", type="", job="J1", sub_job="", information="", timeout=5
    )
    parts = velmo.parse_name(name)
    assert parts is not None
    assert (parts.type, parts.sub_job) == ("sh", "0")


def test_durable_task_is_queued(installation: velmo.Installation) -> None:
    name = installation.submit("true", priority_class="Normal", timeout=5, durable=True)
    assert installation.list() == [name]


def test_command_of_bytes_keeps_them(installation: velmo.Installation) -> None:
    name = installation.submit(b"echo \xff", priority_class="Normal", job="J1", timeout=5)
    assert b"echo \xff" in contents_of(name)


def test_text_that_is_not_utf8_comes_back_as_it_was(installation: velmo.Installation) -> None:
    job = os.fsdecode(b"J\xff\xc3\xa9")
    name = installation.submit("echo \udcff\u00e9", priority_class="Normal", job=job, timeout=5)
    parts = velmo.parse_name(name)
    assert parts is not None and parts.job == job
    assert b"echo \xff\xc3\xa9" in contents_of(name)
    assert installation.list() == [name]
    assert installation.cancel(name)


def test_unknown_class_is_an_error_that_names_it(installation: velmo.Installation) -> None:
    with pytest.raises(velmo.Error, match='^no priority class "Nothing" in ') as caught:
        installation.submit("secret", priority_class="Nothing", timeout=5)
    assert caught.value.status is Status.NOT_CONFIGURED
    assert "secret" not in str(caught.value)
    assert installation.list() == []


def test_new_jobs_differ(installation: velmo.Installation) -> None:
    first, second = installation.new_job(timeout=5), installation.new_job(timeout=5, durable=True)
    assert first.startswith("standin-J")
    assert second != first


def test_job_of_a_key_is_made_once(installation: velmo.Installation, tmp_path: Path) -> None:
    made = installation.find_job(
        tmp_path, "key", user="me", name="report", priority=7, timeout=5, durable=True
    )
    assert (made.user, made.name, made.priority, made.is_new) == ("me", "report", 7, True)
    assert made.id.startswith("standin-J")
    assert "me" in made.information and "report" in made.information
    found = installation.find_job(os.fspath(tmp_path), "key", user="you", timeout=0)
    assert found == velmo.Job(made.id, "me", "report", made.information, 7, False)


def test_job_needs_an_absolute_directory(installation: velmo.Installation) -> None:
    assert status_of(lambda: installation.find_job("a", "k", timeout=0)) is Status.INVALID_ARGUMENT


# --- waits ---


def test_timeout_passes_while_the_task_counter_is_held(
    installation: velmo.Installation, counter: TaskCounter
) -> None:
    with counter.held():
        start = time.monotonic()
        with pytest.raises(velmo.Error, match="^the task counter is locked: ") as caught:
            installation.submit("true", priority_class="Normal", job="J1", timeout=0.05)
        passed = time.monotonic() - start
    assert caught.value.status is Status.TIMED_OUT
    assert passed >= 0.05
    assert installation.list() == []


def test_timeout_of_zero_passes_while_the_job_counter_is_held(
    installation: velmo.Installation, job_lock: Path
) -> None:
    assert status_of(lambda: installation.new_job(timeout=0)) is Status.TIMED_OUT


# --- the queue ---


def test_list_is_in_the_order_of_the_service(installation: velmo.Installation) -> None:
    names = [
        installation.submit("true", priority_class=name, job="J1", timeout=5)
        for name in ("Batch", "Urgent", "Normal")
    ]
    assert installation.list() == [names[1], names[2], names[0]]


def test_task_is_cancelled_once(installation: velmo.Installation) -> None:
    name = installation.submit("true", priority_class="Normal", job="J1", timeout=5)
    assert installation.cancel(name) is True
    assert installation.cancel(name) is False
    assert installation.list() == []


def test_only_a_task_can_be_cancelled(installation: velmo.Installation) -> None:
    assert status_of(lambda: installation.cancel("../jobid")) is Status.INVALID_ARGUMENT


def test_queue_directory(installation: velmo.Installation) -> None:
    assert installation.queue_directory == os.environ["VAR"] + "/taskqueue"
    assert velmo.Installation(Settings()).queue_directory is None


# --- settings ---


def test_settings_are_those_of_the_environment(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("VAR", os.fsdecode(b"/v\xff"))
    monkeypatch.setenv("CONF", "")
    monkeypatch.delenv("TMP")
    settings = Settings.from_environment()
    assert (settings.var, settings.conf, settings.tmp) == ("/v\udcff", "", None)
    assert settings.data == os.environ["DATA"]
    assert settings.lock_var == os.environ["LOCK_VAR"]
    assert settings.velmo_home == os.environ["VELMO_HOME"]
    assert settings.shared_velmo_taskid == os.environ["SHARED_VELMO_TASKID"]
    assert settings.semaphore_velmo_taskid == os.environ["SEMAPHORE_VELMO_TASKID"]


def test_installation_keeps_the_settings_it_was_opened_with(
    installation: velmo.Installation, monkeypatch: pytest.MonkeyPatch
) -> None:
    for variable in ("VAR", "TMP", "SEMAPHORE_VELMO_TASKID"):
        monkeypatch.delenv(variable)
    name = installation.submit("true", priority_class="Normal", timeout=5)
    assert installation.list() == [name]


def test_settings_can_be_given(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    settings = Settings(var=tmp_path)
    with velmo.Installation(settings) as other:
        assert other.queue_directory == f"{tmp_path}/taskqueue"
        call = lambda: other.submit("true", priority_class="Normal", timeout=5)  # noqa: E731
        assert status_of(call) is Status.NOT_CONFIGURED


# --- check ---


@contextlib.contextmanager
def settings_without(*names: str) -> Iterator[Settings]:
    settings = vars(Settings.from_environment())
    yield Settings(**{name: value for name, value in settings.items() if name not in names})


def test_nothing_is_found_where_all_is_well(installation: velmo.Installation) -> None:
    assert installation.check() == []
    assert installation.check("true", priority_class="Normal") == []


def test_findings_are_returned() -> None:
    with settings_without("var", "lock_var") as settings:
        findings = velmo.Installation(settings).check()
    assert {type(finding) for finding in findings} == {velmo.Error}
    assert {finding.status for finding in findings} == {Status.NOT_CONFIGURED}
    assert any(str(finding).startswith("VAR is not set") for finding in findings)
    assert any(str(finding).startswith("LOCK_VAR is not set") for finding in findings)


def test_task_is_checked_too(installation: velmo.Installation) -> None:
    finding, = installation.check("true", priority_class="Nothing")
    assert finding.status is Status.NOT_CONFIGURED
    assert '"Nothing"' in str(finding)
    assert installation.list() == []


# --- end ---


def test_closed_installation_refuses_calls(installation: velmo.Installation) -> None:
    with velmo.Installation() as closed:
        closed.submit("true", priority_class="Normal", job="J1", timeout=5)
    closed.close()
    calls: list[Callable[[], object]] = [closed.list, closed.check, lambda: closed.cancel("a")]
    for call in calls:
        with pytest.raises(velmo.Error, match="^the installation is closed$") as caught:
            call()
        assert caught.value.status is Status.INVALID_ARGUMENT
