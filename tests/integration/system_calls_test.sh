#!/bin/sh
# Counts the system calls of one createTaskFile in steady state: the difference between 300 and 100
# calls, divided by 200. They are what a straight C program needs, no more.
# usage: system_calls_test.sh STANDIN SUBMIT_MANY
set -eu
standin=$1
submit_many=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# calls COUNT [JOB]: the table of calls, one "name count" a line
calls() {
  "$standin" --no-run -- strace -c -S name -U name,calls -o "$directory/table" "$submit_many" "$@"
  awk '$2 ~ /^[0-9]+$/ && $1 != "total" { print $1, $2 }' "$directory/table" | sort
}

# per_call [JOB]: what one submission costs, one "name count" a line
per_call() {
  calls 100 "$@" >"$directory/few"
  calls 300 "$@" >"$directory/many"
  join -a 2 -e 0 -o 0,1.2,2.2 "$directory/few" "$directory/many" |
    awk '$3 != $2 { print $1, ($3 - $2) / 200 }'
}

# expect TITLE EXPECTED ACTUAL
expect() {
  echo "$1:"
  echo "$3"
  if [ "$2" != "$3" ]; then
    printf 'expected:\n%s\n' "$2"
    exit 1
  fi
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
