"""Submits a task through cffi, with the declarations of the preprocessed header.

usage: submit_cffi.py LIBRARY DECLARATIONS
"""

import sys
from pathlib import Path

import cffi

ffi = cffi.FFI()
ffi.cdef(Path(sys.argv[2]).read_text())
library = ffi.dlopen(sys.argv[1])

error = ffi.new("velmo_error*")
handle = ffi.new("velmo_installation**")
if library.velmo_open(ffi.NULL, handle, error) != 0:
    sys.exit(ffi.string(error.message).decode())
installation = ffi.gc(handle[0], library.velmo_close)

texts = {"priority_class": b"Batch", "command": b"echo from cffi", "adjustment": b"Sooner", "job": b"J7"}
owned = {field: ffi.new("char[]", text) for field, text in texts.items()}
task = ffi.new("velmo_task*", {"size": ffi.sizeof("velmo_task"), "relative_priority": -5, **owned})
name = ffi.new("char[256]")
if library.velmo_submit(installation, task, 5000, 1, name, error) != 0:
    sys.exit(ffi.string(error.message).decode())
print("queued", ffi.string(name).decode())
print("status", library.velmo_submit(installation, task, -2, 0, name, error), error.status)
