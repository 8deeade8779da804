"""Submissions by message."""

import gc
import os
import socket
import threading
from collections.abc import Iterator
from pathlib import Path

import pytest
from conftest import contents_of
from peer import Peer, read_close, read_request, send_close

import velmo
from velmo import Status


@pytest.fixture
def connection(installation: velmo.Installation) -> Iterator[velmo.Connection]:
    """To the stand-in, which puts the tasks into the queue of the installation."""
    with velmo.Connection(timeout=5) as connection:
        yield connection


def send(connection: velmo.Connection, timeout: float | None = 5) -> str:
    return connection.send("true", priority_class="Normal", job="J1", timeout=timeout)


def failure_of_send(connection: velmo.Connection, timeout: float | None = 5) -> velmo.Error:
    with pytest.raises(velmo.Error) as caught:
        send(connection, timeout)
    return caught.value


def fields_of(error: velmo.Error) -> tuple[type[velmo.Error], Status, Status, int, int]:
    return type(error), error.status, error.cause, error.system_error, error.peer_code


# --- the service ---


def test_service_is_the_one_that_modules_xml_names(tmp_path: Path) -> None:
    host, port = velmo.find_service()
    assert host in ("127.0.0.1", "localhost")
    assert velmo.find_service(os.environ["VELMO_MODULES_XML"]) == (host, port)
    with pytest.raises(velmo.Error) as caught:
        velmo.find_service(tmp_path / "modules.xml")
    assert caught.value.status is Status.NOT_CONFIGURED
    assert caught.value.system_error == 2


def test_task_is_queued_with_everything_that_is_given(
    installation: velmo.Installation, connection: velmo.Connection
) -> None:
    name = connection.send(
        "echo \u00e9",
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
    assert "echo \u00e9".encode() in contents_of(name) and b"#1USE=me" in contents_of(name)
    assert installation.list() == [name]


def test_connection_takes_one_request_after_another(
    installation: velmo.Installation, connection: velmo.Connection
) -> None:
    assert [send(connection), send(connection)] == installation.list()
    assert connection.is_usable


@pytest.mark.parametrize("how", ["default", "endpoint", "modules_xml"])
def test_endpoint_can_be_given(how: str, installation: velmo.Installation) -> None:
    host, port = velmo.find_service()
    endpoint = {
        "default": {},
        "endpoint": {"host": host, "port": port, "path": "/velmo"},
        "modules_xml": {"modules_xml": Path(os.environ["VELMO_MODULES_XML"])},
    }[how]
    with velmo.Connection(timeout=5, **endpoint) as connection:  # type: ignore[arg-type]
        assert [send(connection)] == installation.list()


# --- failures ---


def test_refused_argument_leaves_the_connection_usable(connection: velmo.Connection) -> None:
    with pytest.raises(velmo.Error, match="^command is not UTF-8") as caught:
        connection.send(b"\xff", priority_class="Normal", timeout=5)
    assert caught.value.status is Status.INVALID_ARGUMENT
    assert connection.is_usable
    send(connection)


def test_nobody_listens() -> None:
    with socket.create_server(("127.0.0.1", 0)) as listener:
        port = listener.getsockname()[1]
    with pytest.raises(velmo.Error, match=f"127.0.0.1:{port}: Connection refused$") as caught:
        velmo.Connection("127.0.0.1", port, timeout=5)
    assert fields_of(caught.value) == (
        velmo.Error, Status.UNREACHABLE, Status.UNREACHABLE, 111, 0
    )


def test_no_web_socket_is_offered() -> None:
    answer = b"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"
    with Peer(lambda _: None, answer) as peer, pytest.raises(velmo.Error) as caught:
        velmo.Connection("127.0.0.1", peer.port, timeout=5)
    assert fields_of(caught.value) == (
        velmo.Error, Status.UNREACHABLE, Status.UNREACHABLE, 0, 404
    )


def test_service_refuses_the_request() -> None:
    def refuse(peer: socket.socket) -> None:
        read_request(peer)
        send_close(peer, 1008)

    with Peer(refuse) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
        error = failure_of_send(connection)
        assert fields_of(error) == (velmo.Error, Status.REFUSED, Status.REFUSED, 0, 1008)
        assert not connection.is_usable
        assert failure_of_send(connection).status is Status.CONNECTION_LOST


def test_connection_that_has_ended_is_lost_before_anything_is_sent() -> None:
    ended = threading.Event()

    def end(peer: socket.socket) -> None:
        peer.close()
        ended.set()

    with Peer(end) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
        ended.wait()
        error = failure_of_send(connection)
    assert fields_of(error)[:3] == (velmo.Error, Status.CONNECTION_LOST, Status.CONNECTION_LOST)


def test_missing_reply_is_in_doubt() -> None:
    done = threading.Event()

    def ignore(peer: socket.socket) -> None:
        read_request(peer)
        done.wait(20)

    with Peer(ignore) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
        error = failure_of_send(connection, timeout=0.05)
        done.set()
    assert isinstance(error, velmo.InDoubt)
    assert fields_of(error) == (velmo.InDoubt, Status.IN_DOUBT, Status.TIMED_OUT, 0, 0)
    assert error.name is None
    assert not connection.is_usable


def test_nonsense_in_place_of_a_reply_is_in_doubt() -> None:
    def babble(peer: socket.socket) -> None:
        read_request(peer)
        peer.sendall(b"\x82\x03abc")

    with Peer(babble) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
        error = failure_of_send(connection)
    assert fields_of(error) == (velmo.InDoubt, Status.IN_DOUBT, Status.UNEXPECTED_REPLY, 0, 0)


# --- one call at a time ---


def test_call_during_a_call_of_another_thread_is_refused() -> None:
    asked, done = threading.Event(), threading.Event()

    def wait(peer: socket.socket) -> None:
        read_request(peer)
        asked.set()
        done.wait(20)

    with Peer(wait) as peer, velmo.Connection("127.0.0.1", peer.port, timeout=5) as connection:
        errors: list[velmo.Error] = []
        thread = threading.Thread(target=lambda: errors.append(failure_of_send(connection, None)))
        thread.start()
        asked.wait()
        refused = failure_of_send(connection)
        assert connection.is_usable
        connection.close()  # has an effect when the other call ends
        assert failure_of_send(connection).status is Status.INVALID_ARGUMENT
        done.set()
        thread.join()
    assert str(refused) == "another call is using the connection"
    assert refused.status is Status.INVALID_ARGUMENT
    assert errors[0].status is Status.IN_DOUBT


# --- the end of a connection ---


def ends(close: object) -> list[int]:
    """The codes that the service gets when this is done with a connection."""
    assert callable(close)
    codes: list[int] = []

    def note(peer: socket.socket) -> None:
        codes.append(read_close(peer))

    with Peer(note) as peer:
        close([velmo.Connection("127.0.0.1", peer.port, timeout=5)])
    return codes


def test_close_sends_a_close_frame_without_waiting() -> None:
    assert ends(lambda connections: connections[0].close()) == [1000]


def test_with_closes() -> None:
    def leave(connections: list[velmo.Connection]) -> None:
        with connections[0]:
            pass

    assert ends(leave) == [1000]


def test_connection_that_nobody_refers_to_is_closed() -> None:
    def forget(connections: list[velmo.Connection]) -> None:
        connections.clear()
        gc.collect()

    assert ends(forget) == [1000]


def test_close_waits_until_the_service_closes_too() -> None:
    def answer(peer: socket.socket) -> None:
        assert peer.recv(8)[0] == 0x88
        send_close(peer, 1000)

    with Peer(answer) as peer:
        connection = velmo.Connection("127.0.0.1", peer.port, timeout=5)
        connection.close(timeout=20)
        connection.close()


def test_closed_connection_refuses_calls(connection: velmo.Connection) -> None:
    connection.close()
    assert not connection.is_usable
    error = failure_of_send(connection)
    assert (error.status, str(error)) == (Status.INVALID_ARGUMENT, "the connection is closed")
