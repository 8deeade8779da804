#!/bin/sh
# The installed CMake packages and pkg-config files name no folder of the machine that built them: neither
# the build's own, nor one where it found a library.
# usage: no_package_paths_test.sh LIBRARY_DIR FOLDER...
set -eu
library_dir=$1
shift
status=0
for folder in /usr/lib /usr/include "$@"; do
  if grep -rF "$folder" "$library_dir/cmake" "$library_dir/pkgconfig"; then
    status=1
  fi
done
grep -rq velmo-client "$library_dir/cmake" "$library_dir/pkgconfig" || exit 1
exit $status
