#!/bin/sh
# A program that uses everything in velmo.hpp compiles without a warning, with the warnings of this tree.
# usage: warnings_test.sh INCLUDE_DIR COMPILER STANDARD SOURCE
set -eu
warnings='-Wall -Wextra -pedantic-errors -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wcast-align -Wcast-qual -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wextra-semi'
case $2 in
g++) warnings="$warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wuseless-cast" ;;
esac
# shellcheck disable=SC2086 # a list of words
"$2" "-std=$3" -O2 $warnings -Werror "-I$1" -c "$4" -o /dev/null
