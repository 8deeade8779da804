#!/bin/sh
# Prints the record of a library's binary interface: only exported names, and nothing that differs
# between machines. With a folder of headers, types that they do not define are left out.
# usage: record_abi.sh LIBRARY [HEADERS]
set -eu
abidw --suppressions "$(dirname "$0")/abi_suppressions.ini" \
  --exported-interfaces-only --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed \
  --type-id-style hash ${2:+--drop-private-types --headers-dir "$2"} "$1"
