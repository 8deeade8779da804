#!/bin/sh
# A program in C loads the installed library and submits tasks under the installed stand-in. It can
# close the library and load it again.
# usage: dlopen_from_c_test.sh STANDIN PROGRAM LIBRARY [PRELOADED]
set -eu
standin=$1
program=$2
library=$3
preloaded=${4-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

parent=0500.TIME.standin-J0.S0_c.TTIME-1.R0000.sh
child=0070.TIME.standin-J0.S1_c_first.TTIME-2.R0003.sh
expect 'with its conditions met' "job standin-J0
task 0
child 0
closed 0
loaded again, job standin-J1
priority 0070, created TIME, job standin-J0, sub-job 1_c_first, task 2, relative 3, type sh: exit 0, \
output in var/log/$child.log
priority 0500, created TIME, job standin-J0, sub-job 0_c, task 1, relative 0, type sh: exit 0, \
output in var/log/$parent.log
./$child.log:child
./$parent.log:task" "$(tasks_of "$standin" env LD_PRELOAD="$preloaded" "$program" "$library" 0_c)"
