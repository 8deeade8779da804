#!/bin/sh
# Builds the first program of README.md unchanged against the installed package. The installed stand-in
# runs its task. Without the environment or the service the program names what is missing, and exits with
# the number of the status.
# usage: readme_program_test.sh README PREFIX STANDIN COMPILER [FLAGS]
set -eu
readme=$1
prefix=$2
standin=$3
compiler=$4
flags=${5-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

# The first block indented by four blanks; it may contain blank lines.
awk '/^    / { print substr($0, 5); found = 1; next }
  found && /^$/ { print; next }
  found { exit }' "$readme" >"$directory/program.cpp"

quietly cmake -S "$here" -B "$directory/build" -DSOURCE="$directory/program.cpp" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags"
quietly cmake --build "$directory/build" --verbose

name=0500.TIME.standin-J0.S0.TTIME-1.R0000.sh
expect 'the task' "queued: $name
priority 0500, created TIME, job standin-J0, sub-job 0, task 1, relative 0, \
type sh: exit 0, output in var/log/$name.log
./$name.log:hello" "$(tasks_of "$standin" "$directory/build/readme_program")"

# expect_refusal TITLE REASON STATUS [VARIABLE=VALUE...]
expect_refusal() {
  title=$1
  expected="not queued: $2
exit $3"
  shift 3
  expect "$title" "$expected" "$(env -i "$@" "$directory/build/readme_program" 2>&1 || echo "exit $?")"
}
expect_refusal 'without any variable' 'TMP is not set' 2
home=$directory/home # the installation of the run above, whose counter has ended with it
# A key that nobody uses: other programs of the machine may have made objects under small ones.
key=$(($(od -An -N3 -tu4 /dev/urandom) + 1000000000))
set -- TMP="$home/tmp" VAR="$home/var" SHARED_VELMO_TASKID=$key SEMAPHORE_VELMO_TASKID=$key
expect_refusal 'without priorities' \
  'neither VELMO_HOME nor CONF is set, so no priority is known' 2 "$@"
expect_refusal 'without the service' "the service is not running: the semaphore of its task counter, \
key $key, is missing" 3 "$@" VELMO_HOME="$home/home" CONF="$home/conf" DATA="$home/data" \
  LOCK_VAR="$home/lock"
