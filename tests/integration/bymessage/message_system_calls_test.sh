#!/bin/sh
# Counts the system calls of one VelmoFacadeWS::addTask in steady state. The networking library makes
# three: it sends the request and receives the reply in two parts. One call reads the signal mask of the
# thread. If the thread does not block SIGPIPE, another call restores the mask.
# usage: message_system_calls_test.sh MESSAGE_CALLS
set -eu
message_calls=$1
here=$(dirname "$0")
# shellcheck source=tests/integration/count_system_calls.sh
. "$here/../count_system_calls.sh"

traced() {
  table=$1
  shift
  strace -c -S name -U name,calls -o "$table" "$message_calls" "$@"
}

expect 'in a thread that blocks SIGPIPE (4)' \
  "recvfrom 2
rt_sigprocmask 1
sendto 1" "$(per_call)"

expect 'in a thread that does not (5)' \
  "recvfrom 2
rt_sigprocmask 2
sendto 1" "$(per_call unblocked)"
