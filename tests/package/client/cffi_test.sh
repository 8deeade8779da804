#!/bin/sh
# A Python script submits a task with cffi and the installed library, under the installed stand-in. It
# takes the declarations from the installed header, which the C preprocessor has read.
# usage: cffi_test.sh STANDIN PYTHON C_COMPILER HEADER LIBRARY [PRELOADED]
set -eu
standin=$1
python=$2
compiler=$3
header=$4
library=$5
preloaded=${6-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

# cffi knows size_t; attributes are not for it.
mkdir "$directory/empty"
: >"$directory/empty/stddef.h"
"$compiler" -E -P -nostdinc -I "$directory/empty" -DVELMO_API= -DVELMO_CALL= "$header" \
  >"$directory/declarations"

# The interpreter does not free all its memory, so the leak check is off.
name=0780.TIME.J7.S0.TTIME-1.R-005.sh
expect 'submit_cffi.py' "queued $name
status 1 1
priority 0780, created TIME, job J7, sub-job 0, task 1, relative -5, type sh: exit 0, output in \
var/log/$name.log
./$name.log:from cffi" "$(tasks_of "$standin" env LD_PRELOAD="$preloaded" \
  ASAN_OPTIONS=detect_leaks=0 "$python" "$here/submit_cffi.py" "$library" \
  "$directory/declarations")"
