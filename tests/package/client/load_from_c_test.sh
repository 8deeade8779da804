#!/bin/sh
# A program in C loads the installed library and submits tasks under the installed stand-in. It can
# unload the library and load it again.
# usage: load_from_c_test.sh STANDIN PROGRAM LIBRARY [PRELOADED]
set -eu
standin=$1
program=$2
library=$3
preloaded=${4-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

ran() {
  echo "priority 0500, created TIME, job standin-J$1, sub-job 0, task $2, relative 0, type sh: \
exit 0, output in var/log/$(named "$1" "$2").log"
}
named() {
  echo "0500.TIME.standin-J$1.S0.TTIME-$2.R0000.sh"
}
expect 'load_from_c' "queued $(named 0 1)
closed 0, unloaded
queued $(named 1 2)
closed 0, unloaded
$(ran 0 1)
$(ran 1 2)
./$(named 0 1).log:from C
./$(named 1 2).log:from C" "$(tasks_of "$standin" env LD_PRELOAD="$preloaded" "$program" "$library")"
