#!/bin/sh
# velmo-protocol.7 has what the sources have: the messages, and the texts of VelmoException that are
# the library's own.
# usage: protocol_page_test.sh SOURCE_DIR
set -eu
page=$1/docs/man/velmo-protocol.7
units=$1/backend/velmo/src
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# compare TITLE: what the sources have, and what the page has, in files of these names
compare() {
  if [ ! -s "$directory/sources" ] || ! diff "$directory/sources" "$directory/page"; then
    echo "$1: in the sources (<), in the page (>)"
    touch "$directory/failed"
  fi
}

sed 's/ *\/\/.*//; /^service /,$d; /^$/d' "$units/velmo.proto" >"$directory/sources"
sed -n '/^\.Ss Messages/,/^\.Ed/p' "$page" | sed '/^\./d; /^$/d' >"$directory/page"
compare 'messages'

find "$units" -name '*.cpp' ! -name '*_test.cpp' -exec grep -h 'throw VelmoException(' {} + \
  >"$directory/throws"
grep -o '("[^"]*")' "$directory/throws" | sed 's/^("//; s/")$//' | sort >"$directory/sources"
sed -n "/^These texts are the library's own:/,/^\.El/s/^\.It \"\(.*\)\"$/\1/p" "$page" |
  sort >"$directory/page"
compare 'texts'
# What else is thrown passes on the networking library's text.
if grep -vE '\(("[^"]*"|exception\.displayText\(\))\);' "$directory/throws"; then
  echo 'a text that cannot be seen here'
  touch "$directory/failed"
fi

[ ! -e "$directory/failed" ]
