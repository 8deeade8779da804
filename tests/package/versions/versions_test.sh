#!/bin/sh
# Which versions of a package serve the one who asks for a version or a range.
# usage: versions_test.sh TEMPLATE
set -eu
template=$1
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

# wanted PACKAGE REQUEST [ARGUMENT...]
wanted() {
  package=$1
  request=$2
  shift 2
  cmake -DTEMPLATE="$template" -DDIRECTORY="$directory" -DPACKAGE="$package" -DWANTED="$request" "$@" \
    -P "$here/find_version.cmake" | sed 's/^-- //'
}
# Without a version, and for its own version or an earlier one with the same first number.
for request in '' 1 1.0 1.4 1.4.2 1.2.9 '1.4.2;EXACT'; do
  expect "1.4.2 for '$request'" found "$(wanted 1.4.2 "$request")"
done
expect '1.4.0 is exactly 1.4' found "$(wanted 1.4.0 '1.4;EXACT')"
for request in 1.4.3 1.5 2 2.0 0.9 '1.4;EXACT' '1.4.1;EXACT'; do
  expect "1.4.2 for '$request'" 'not found: 1.4.2' "$(wanted 1.4.2 "$request")"
done
# In a range, with or without its upper end. A range may go over first numbers.
for request in 1.0...2 '1.0...<2' '1.4.2...<1.4.3' 1.4.2...1.4.2 1...1.5 '0.9...<2' 1.0...3; do
  expect "1.4.2 for '$request'" found "$(wanted 1.4.2 "$request")"
done
for request in '1.0...<1.4.2' 1.0...1.4.1 1.4.3...2 '2.0...<3' '0.5...<1' 0.5...1.4; do
  expect "1.4.2 for '$request'" 'not found: 1.4.2' "$(wanted 1.4.2 "$request")"
done
expect '2.0.0 at the upper end' found "$(wanted 2.0.0 1.0...2)"
expect '2.0.0 at the upper end, which is excluded' 'not found: 2.0.0' "$(wanted 2.0.0 '1.0...<2')"
expect 'a 32-bit program' 'not found: 1.4.2 (8-byte pointers)' \
  "$(wanted 1.4.2 1.0 -DPOINTER_SIZE=4)"
expect 'a 64-bit program' found "$(wanted 1.4.2 1.0 -DPOINTER_SIZE=8)"
