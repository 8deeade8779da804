#!/bin/sh
# The package installs the headers given, all in include/velmo, and no other.
# usage: installed_headers_test.sh INCLUDE_DIR HEADER...
set -eu
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/expect.sh"
include_dir=$1
shift
expected=$(for header; do echo "velmo/$(basename "$header")"; done | sort)
expect 'headers' "$expected" "$(cd "$include_dir" && find . ! -type d | sed 's,^\./,,' | sort)"
