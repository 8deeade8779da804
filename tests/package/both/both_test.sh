#!/bin/sh
# A program links the installed archives of both libraries, in either order, with CMake and with
# pkg-config. Units that define the same name are the same in both, so it does not matter which is linked.
# usage: both_test.sh PREFIX LIBRARY_DIR COMPILER
set -eu
prefix=$1
library_dir=$2
compiler=$3
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

quietly cmake -S "$here" -B "$directory/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler"
quietly cmake --build "$directory/build" --verbose
PKG_CONFIG_PATH=$library_dir/pkgconfig
export PKG_CONFIG_PATH
for modules in 'velmo velmo-client' 'velmo-client velmo'; do
  for static in '' --static; do
    # shellcheck disable=SC2046,SC2086 # lists of words
    "$compiler" -std=c++17 "$here/both.cpp" -o "$directory/build/${modules% *}$static" \
      $(pkg-config $static --cflags --libs $modules)
  done
done
for program in both both_reversed velmo velmo--static velmo-client velmo-client--static; do
  expect "$program" '1_a_b, findings, 1' "$(env -i "$directory/build/$program")"
done

# names ARCHIVE: what it defines, and where, "member:name". Of inline functions the linker keeps one.
names() {
  nm -A --defined-only "$1" 2>/dev/null | sed -n 's/^[^:]*:\([^:]*\):[0-9a-f]* [A-TX-Z] /\1:/p' | sort
}
mkdir "$directory/first" "$directory/second"
(cd "$directory/first" && ar x "$library_dir/libvelmo.a")
(cd "$directory/second" && ar x "$library_dir/libvelmo-client.a")
names "$library_dir/libvelmo.a" >"$directory/names_first"
names "$library_dir/libvelmo-client.a" >"$directory/names_second"
for archive in first second; do
  sed 's/^[^:]*://' "$directory/names_$archive" | sort -u >"$directory/plain_$archive"
done
comm -12 "$directory/plain_first" "$directory/plain_second" >"$directory/common"
grep -q . "$directory/common" || exit 1
for archive in first second; do
  grep -wFf "$directory/common" "$directory/names_$archive" | sed 's/:.*//' | sort -u
done | sort | uniq -c | while read -r count member; do
  expect "$member, of a common name, is in both archives" 2 "$count"
  cmp "$directory/first/$member" "$directory/second/$member"
done
