"""Submits a task through ctypes.

usage: submit.py LIBRARY
"""

import ctypes
import os
import sys

# An exception from the library would end the interpreter, so the conditions of the calls are met first.
for variable in "VELMO_HOME", "CONF":
    if variable not in os.environ:
        sys.exit(variable + " is not set")

library = ctypes.CDLL(sys.argv[1])
library.createTaskFile.argtypes = [ctypes.c_char_p] * 7 + [ctypes.c_int]
library.createTaskFile.restype = ctypes.c_int
print("task", library.createTaskFile(b"Batch", b"echo from python", b"sh", b"Sooner", b"J7", None,
                                     b"#1USE=python", -5))
