#!/bin/sh
# Builds a program with the given compiler, which may differ from the library's, and runs it.
# usage: caught_by_type_test.sh LIBRARY_DIR INCLUDE_DIR SOURCE COMPILER
set -eu
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
"$4" -std=c++17 -O2 -fvisibility=hidden -Wall -Wextra -Wpedantic -Werror "-I$2" "$3" \
  -o "$directory/program" "-L$1" -lvelmo "-Wl,-rpath,$1"
mkdir "$directory/velmo" # of the job counter
DATA=$directory LOCK_VAR=$directory CONF=$directory "$directory/program" "$directory"
