"""The other end of a connection, which does what a test says."""

import base64
import hashlib
import re
import socket
import struct
import threading
from collections.abc import Callable

Action = Callable[[socket.socket], None]


class Peer:
    """Takes one connection, shakes hands, and does the action with it."""

    def __init__(self, action: Action, answer: bytes | None = None) -> None:
        """answer -- to the request for a WebSocket; default: one is offered"""
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._listener.settimeout(20)
        self._answer = answer
        self._action = action
        self.port: int = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._serve)

    def __enter__(self) -> "Peer":
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._thread.join()
        self._listener.close()

    def _serve(self) -> None:
        connection, _ = self._listener.accept()
        with connection:
            connection.settimeout(20)
            request = b""
            while b"\r\n\r\n" not in request:
                request += connection.recv(4096)
            connection.sendall(self._answer or _handshake(request))
            self._action(connection)


def _handshake(request: bytes) -> bytes:
    key = re.search(rb"\r\nSec-WebSocket-Key: (.*)\r\n", request)
    assert key is not None
    digest = hashlib.sha1(key[1] + b"258EAFA5-E914-47DA-95CA-C5AB0DC85B11").digest()
    accept = base64.b64encode(digest)
    return (
        b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        b"Sec-WebSocket-Accept: " + accept + b"\r\n\r\n"
    )


def read_request(connection: socket.socket) -> None:
    """Reads a short masked frame."""
    length = _read(connection, 2)[1] & 0x7F
    if length == 126:
        (length,) = struct.unpack(">H", _read(connection, 2))
    _read(connection, 4 + length)


def read_close(connection: socket.socket) -> int:
    """The code of a close frame, after which the other end says no more."""
    opcode, length, *mask = _read(connection, 6)
    assert (opcode, length & 0x7F) == (0x88, 2)
    masked = _read(connection, 2)
    assert connection.recv(1) == b""
    return (masked[0] ^ mask[0]) << 8 | (masked[1] ^ mask[1])


def send_close(connection: socket.socket, code: int) -> None:
    connection.sendall(b"\x88\x02" + struct.pack(">H", code))


def _read(connection: socket.socket, count: int) -> bytes:
    result = b""
    while len(result) < count:
        part = connection.recv(count - len(result))
        assert part
        result += part
    return result
