#!/bin/sh
# An exception that leaves the library ends a Python process: Python cannot catch it.
# usage: unmet_condition_test.sh PYTHON LIBRARY [PRELOADED]
set -eu
python=$1
library=$2
preloaded=${3-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

status=0
LD_PRELOAD=$preloaded ASAN_OPTIONS=detect_leaks=0 "$python" "$here/unmet_condition.py" "$library" \
  >"$directory/output" 2>"$directory/errors" || status=$?
expect 'exit status' 134 "$status" # SIGABRT
expect 'standard output' '' "$(cat "$directory/output")"
expect 'reason' "terminate called after throwing an instance of 'std::out_of_range'" \
  "$(head -n 1 "$directory/errors")"
