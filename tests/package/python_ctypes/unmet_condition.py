"""Passes a sub-job without an underscore, for which createChildTask throws.

usage: unmet_condition.py LIBRARY
"""

import ctypes
import resource
import sys

resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
library = ctypes.CDLL(sys.argv[1])
library.createChildTask.argtypes = [ctypes.c_char_p] * 8 + [ctypes.c_int]
try:
    library.createChildTask(b"Normal", b"true", None, None, b"J7", b"0", None, None, 0)
finally:
    print("still there", flush=True)
