"""The structs and functions of velmo.h, for ctypes."""

import ctypes
import os
from ctypes import POINTER, c_char, c_char_p, c_int, c_size_t, c_uint, c_void_p
from typing import Any

NAME_SIZE = 256
NO_LIMIT = -1
DURABLE = 1
INT_MAX = 2**31 - 1


class ErrorStruct(ctypes.Structure):
    _fields_ = [
        ("status", c_int),
        ("cause", c_int),
        ("system_error", c_int),
        ("peer_code", c_int),
        ("reserved", c_int * 4),
        ("message", c_char * 992),
    ]


class TaskStruct(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("priority_class", c_char_p),
        ("command", c_char_p),
        ("type", c_char_p),
        ("adjustment", c_char_p),
        ("job", c_char_p),
        ("sub_job", c_char_p),
        ("information", c_char_p),
        ("relative_priority", c_int),
    ]


class SettingsStruct(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("var", c_char_p),
        ("tmp", c_char_p),
        ("data", c_char_p),
        ("lock_var", c_char_p),
        ("velmo_home", c_char_p),
        ("conf", c_char_p),
        ("shared_velmo_taskid", c_char_p),
        ("semaphore_velmo_taskid", c_char_p),
        ("stop", POINTER(c_int)),
    ]


class EndpointStruct(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("host", c_char_p),
        ("port", c_int),
        ("path", c_char_p),
        ("modules_xml", c_char_p),
        ("stop", POINTER(c_int)),
    ]


class TaskNameStruct(ctypes.Structure):
    _fields_ = [
        ("priority", c_int),
        ("task", c_int),
        ("relative_priority", c_int),
        ("created", c_char * 16),
        ("job", c_char * NAME_SIZE),
        ("sub_job", c_char * NAME_SIZE),
        ("type", c_char * NAME_SIZE),
    ]


class JobStruct(ctypes.Structure):
    _fields_ = [
        ("id", c_char * NAME_SIZE),
        ("user", c_char * NAME_SIZE),
        ("name", c_char * NAME_SIZE),
        ("priority", c_int),
        ("is_new", c_int),
        ("information", c_char * (2 * NAME_SIZE + 16)),
    ]


FindingFunction = ctypes.CFUNCTYPE(None, c_void_p, POINTER(ErrorStruct))

# Handles are void pointers. An array that a function fills is a c_char_p: pass a string buffer.
_ERROR = POINTER(ErrorStruct)
_OUT = POINTER(c_void_p)

# The result of each function, and its arguments.
PROTOTYPES: dict[str, tuple[Any, list[Any]]] = {
    "velmo_settings_from_environment": (c_int, [POINTER(SettingsStruct)]),
    "velmo_open": (c_int, [POINTER(SettingsStruct), _OUT, _ERROR]),
    "velmo_close": (None, [c_void_p]),
    "velmo_submit": (c_int, [c_void_p, POINTER(TaskStruct), c_int, c_uint, c_char_p, _ERROR]),
    "velmo_new_job": (c_int, [c_void_p, c_int, c_uint, c_char_p, _ERROR]),
    "velmo_find_job": (
        c_int,
        [c_void_p, c_char_p, c_char_p, c_int, c_uint, POINTER(JobStruct), _ERROR],
    ),
    "velmo_child_sub_job": (c_int, [c_char_p, c_char_p, c_char_p, _ERROR]),
    "velmo_check": (c_int, [c_void_p, POINTER(TaskStruct), FindingFunction, c_void_p]),
    "velmo_list": (c_int, [c_void_p, _OUT, _ERROR]),
    "velmo_listing_count": (c_size_t, [c_void_p]),
    "velmo_listing_name": (c_char_p, [c_void_p, c_size_t]),
    "velmo_listing_free": (None, [c_void_p]),
    "velmo_parse_name": (c_int, [c_char_p, POINTER(TaskNameStruct)]),
    "velmo_cancel": (c_int, [c_void_p, c_char_p, _ERROR]),
    "velmo_queue_directory": (c_char_p, [c_void_p]),
    "velmo_find_service": (c_int, [c_char_p, c_char_p, POINTER(c_int), _ERROR]),
    "velmo_connect": (c_int, [POINTER(EndpointStruct), c_int, _OUT, _ERROR]),
    "velmo_send": (c_int, [c_void_p, POINTER(TaskStruct), c_int, c_char_p, _ERROR]),
    "velmo_is_usable": (c_int, [c_void_p]),
    "velmo_disconnect": (None, [c_void_p, c_int]),
    "velmo_status_text": (c_char_p, [c_int]),
    "velmo_version": (c_char_p, []),
}


def _load() -> ctypes.CDLL:
    try:
        loaded = ctypes.CDLL(os.environ.get("VELMO_LIBRARY") or "libvelmo-client.so.1")
        for name, (result, arguments) in PROTOTYPES.items():
            function = getattr(loaded, name)
            function.restype = result
            function.argtypes = arguments
    except (OSError, AttributeError) as error:
        raise ImportError(f"cannot load the library of libvelmo-client1: {error}") from None
    return loaded


library = _load()


def version() -> str:
    """The version of the library that is loaded, such as "1.0.0"."""
    text: bytes = library.velmo_version()
    return text.decode()
