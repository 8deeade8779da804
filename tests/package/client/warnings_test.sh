#!/bin/sh
# A program that uses everything in velmo.hpp compiles without a warning, with the warnings of this tree,
# with and without optimisation.
# usage: warnings_test.sh INCLUDE_DIR COMPILER STANDARD SOURCE
set -eu
warnings='-Wall -Wextra -pedantic-errors -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wcast-align -Wcast-qual -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wextra-semi'
case $2 in
g++) warnings="$warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wuseless-cast" ;;
esac
for optimisation in -O0 -O2; do
  # shellcheck disable=SC2086 # a list of words
  "$2" "-std=$3" $optimisation $warnings -Werror "-I$1" -c "$4" -o /dev/null
done
