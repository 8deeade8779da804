#!/bin/sh
# A Python script submits a task with ctypes and the installed library, under the installed stand-in.
# usage: python_ctypes_test.sh STANDIN PYTHON LIBRARY [PRELOADED]
set -eu
standin=$1
python=$2
library=$3
preloaded=${4-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

# The interpreter does not free all its memory, so the leak check is off.
name=0780.TIME.J7.S0.TTIME-1.R-005.sh
expect 'submit.py' "task 0
priority 0780, created TIME, job J7, sub-job 0, task 1, relative -5, type sh: exit 0, output in \
var/log/$name.log
./$name.log:from python" "$(tasks_of "$standin" env LD_PRELOAD="$preloaded" \
  ASAN_OPTIONS=detect_leaks=0 "$python" "$here/submit.py" "$library")"
