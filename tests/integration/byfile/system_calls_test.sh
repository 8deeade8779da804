#!/bin/sh
# Counts the system calls of one createTaskFile in steady state. A plain C program would need as many.
# usage: system_calls_test.sh STANDIN SUBMIT_MANY
set -eu
standin=$1
submit_many=$2
here=$(dirname "$0")
# shellcheck source=tests/integration/count_system_calls.sh
. "$here/../count_system_calls.sh"

traced() {
  table=$1
  shift
  "$standin" --no-run -- strace -c -S name -U name,calls -o "$table" "$submit_many" "$@"
}

expect 'with a job identifier given (11)' \
  "access 1
close 1
openat 1
rename 1
semget 1
semtimedop 2
shmat 1
shmdt 1
shmget 1
write 1" "$(per_call J1)"

expect 'with a generated one and a serverid.cfg (26)' \
  "access 1
close 5
openat 5
read 4
rename 2
semget 1
semtimedop 2
shmat 1
shmdt 1
shmget 1
unlink 1
write 2" "$(per_call)"
