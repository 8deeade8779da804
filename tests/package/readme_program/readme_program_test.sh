#!/bin/sh
# Builds the first program of README.md unchanged against the installed package. The installed stand-in
# runs its task. Without the environment the program names what is missing and exits with 1.
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
expect 'the task' "priority 0500, created TIME, job standin-J0, sub-job 0, task 1, relative 0, \
type sh: exit 0, output in var/log/$name.log
./$name.log:hello" "$(tasks_of "$standin" "$directory/build/readme_program")"

# $directory/home is the installation of the previous run. First its priorities are missing, then
# everything.
expect_refusal() {
  expect "$1" 'cannot submit: VELMO_HOME or CONF is not set
exit 1' "$(cd "$directory" && shift && "$@" 2>&1 || echo "exit $?")"
}
program=$directory/build/readme_program
expect_refusal 'without any variable' env -i "$program"
expect_refusal 'without VELMO_HOME' env -i CONF="$directory/home/conf" "$program"
expect_refusal 'without CONF' env -i VELMO_HOME="$directory/home/home" "$program"
expect 'without the task counter' 'not queued: -1, see the system log
exit 1' "$(cd "$directory" && env -i CONF=conf VELMO_HOME=home DATA=home/data LOCK_VAR=. "$program" 2>&1 ||
  echo "exit $?")"
