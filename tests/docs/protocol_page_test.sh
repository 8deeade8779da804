#!/bin/sh
# velmo-protocol.7 has what the sources have: the messages, and the texts of VelmoException that are
# the library's own. BaseMessage.3 has the messages too, and VelmoException.3 the texts.
# usage: protocol_page_test.sh SOURCE_DIR
set -eu
pages=$1/docs/man
page=$pages/velmo-protocol.7
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
# Laid out in its own way.
tr -d ' \n' <"$directory/sources" >"$directory/closer"
mv "$directory/closer" "$directory/sources"
sed -n '/^syntax/,/^\.Ed/p' "$pages/BaseMessage.3" | sed '/^\./d' | tr -d ' \n' >"$directory/page"
compare 'messages, in BaseMessage.3'

find "$units" -name '*.cpp' ! -name '*_test.cpp' -exec grep -h 'throw VelmoException(' {} + \
  >"$directory/throws"
grep -o '("[^"]*")' "$directory/throws" | sed 's/^("//; s/")$//' | sort >"$directory/sources"
sed -n "/^These texts are the library's own:/,/^\.El/s/^\.It \"\(.*\)\"$/\1/p" "$page" |
  sort >"$directory/page"
compare 'texts'
sed -n 's/^\.It Li "\(.*\)"$/\1/p' "$pages/VelmoException.3" | sort >"$directory/page"
compare 'texts, in VelmoException.3'
# What else is thrown passes on the networking library's text.
if grep -vE '\(("[^"]*"|exception\.displayText\(\))\);' "$directory/throws"; then
  echo 'a text that cannot be seen here'
  touch "$directory/failed"
fi

[ ! -e "$directory/failed" ]
