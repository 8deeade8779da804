#!/bin/sh
# Compiles the examples of the manual pages of section 3, each for itself: every literal block under
# EXAMPLES is a whole program. A backslash in it is written "\e".
# usage: manual_examples_test.sh PAGES_DIR INCLUDE_DIR COMPILER
set -eu
pages=$1
include_dir=$2
compiler=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# One file for each block: PAGE_NUMBER.cpp.
for page in "$pages"/*.3; do
  [ ! -L "$page" ] || continue # the page of another name
  awk -v base="$directory/$(basename "$page" .3)" '
    /^\.Sh / { in_examples = ($0 == ".Sh EXAMPLES") }
    /^\.Ed/ { file = "" }
    file != "" { gsub(/\\e/, "\\"); print > file }
    in_examples && /^\.Bd -literal/ { file = base "_" ++count ".cpp" }
  ' "$page"
  if [ ! -f "$directory/$(basename "$page" .3)_1.cpp" ]; then
    echo "no example: $page"
    touch "$directory/failed"
  fi
done

for source in "$directory"/*.cpp; do
  if ! grep -q '^int main(' "$source"; then
    echo "no whole program: $(basename "$source")"
    touch "$directory/failed"
  fi
  "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$include_dir" \
    "$source" || { echo "does not compile: $(basename "$source")"; touch "$directory/failed"; }
done

[ ! -e "$directory/failed" ]
