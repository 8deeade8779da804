#!/bin/sh
# The package installs exactly the given headers, all in include/velmo.
# usage: installed_headers_test.sh INCLUDE_DIR HEADER...
set -eu
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/expect.sh"
include_dir=$1
shift
expected=$(for header; do echo "velmo/$(basename "$header")"; done | sort)
expect 'headers' "$expected" "$(cd "$include_dir" && find . ! -type d | sed 's,^\./,,' | sort)"
