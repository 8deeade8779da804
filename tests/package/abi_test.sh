#!/bin/sh
# Compares the library's binary interface with the record for its soname.
# usage: abi_test.sh LIBRARY RECORDS [HEADERS]    HEADERS: as for record_abi.sh
set -eu
library=$1
soname=$(objdump -p "$library" | sed -n 's/^ *SONAME *//p')
record=$2/$soname.abi
if [ ! -e "$record" ]; then
  echo "no record for $soname: script/abi-baseline makes it"
  exit 1
fi
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
"$(dirname "$0")/record_abi.sh" "$library" ${3:+"$3"} >"$directory/now"
status=0
abidiff --no-show-locs "$record" "$directory/now" || status=$?
case $status in
4 | 12) echo 'Only additions? Renew the record: script/abi-baseline. All else needs a new soname.' ;;
esac
exit $status
