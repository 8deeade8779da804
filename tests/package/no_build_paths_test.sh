#!/bin/sh
# A library does not say where it was built. Debug information does, so it is stripped first.
# usage: no_build_paths_test.sh LIBRARY SOURCE_DIR TEXT    a text that the library does contain
set -eu
library=$1
source_dir=$2
text=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

strip --strip-debug -o "$directory/library" "$library"
if grep -aoE "$source_dir/[[:print:]]*" "$directory/library"; then
  echo 'paths of the build, in the library'
  exit 1
fi
grep -aq "$text" "$directory/library" || {
  echo "not found: $text: this test looks at the wrong thing"
  exit 1
}
