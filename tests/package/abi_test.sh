#!/bin/sh
# The library's binary interface is the recorded one of its soname.
# usage: abi_test.sh LIBRARY RECORDS
set -eu
soname=$(objdump -p "$1" | sed -n 's/^ *SONAME *//p')
record=$2/$soname.abi
if [ ! -e "$record" ]; then
  echo "no record for $soname: script/abi-baseline makes it"
  exit 1
fi
if ! abidiff --no-show-locs "$record" "$1"; then
  echo 'Only additions? Renew the record with script/abi-baseline. Anything else needs a new soname.'
  exit 1
fi
