#!/bin/sh
# debian/*.symbols are what script/symbols makes of the lists of exported names.
# usage: symbols_test.sh SOURCE_DIR
set -eu
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

"$1/script/symbols" "$directory"
grep -q '^ velmo_submit@VELMO_CLIENT_1 1\.0\.0$' "$directory/libvelmo-client1.symbols"
for file in "$directory"/*.symbols; do
  diff "$1/debian/${file##*/}" "$file" || {
    echo "debian/${file##*/} is stale: run script/symbols"
    exit 1
  }
done
