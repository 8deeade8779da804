#!/bin/sh
# Counts the system calls of one VelmoFacadeWS::addTask in steady state: the difference between 300 and
# 100 calls, divided by 200. Three are the networking library's (the request, and the two parts of the
# reply), one looks at the thread's signal mask; a thread that does not block SIGPIPE needs another to
# put the mask back.
# usage: message_system_calls_test.sh MESSAGE_CALLS
set -eu
message_calls=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# calls COUNT [unblocked]: the table of calls, one "name count" a line
calls() {
  strace -c -S name -U name,calls -o "$directory/table" "$message_calls" "$@"
  awk '$2 ~ /^[0-9]+$/ && $1 != "total" { print $1, $2 }' "$directory/table" | sort
}

# per_call [unblocked]: what one round trip costs, one "name count" a line
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

expect 'in a thread that blocks SIGPIPE (4)' \
  "recvfrom 2
rt_sigprocmask 1
sendto 1" "$(per_call)"

expect 'in a thread that does not (5)' \
  "recvfrom 2
rt_sigprocmask 2
sendto 1" "$(per_call unblocked)"
