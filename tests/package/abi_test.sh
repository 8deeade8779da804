#!/bin/sh
# Compares the library's binary interface with the record for its soname.
# usage: abi_test.sh LIBRARY RECORDS
set -eu
soname=$(objdump -p "$1" | sed -n 's/^ *SONAME *//p')
record=$2/$soname.abi
if [ ! -e "$record" ]; then
  echo "no record for $soname: script/abi-baseline makes it"
  exit 1
fi
status=0
abidiff --no-show-locs "$record" "$1" || status=$?
case $status in
4 | 12) echo 'Only additions? Renew the record: script/abi-baseline. All else needs a new soname.' ;;
esac
exit $status
