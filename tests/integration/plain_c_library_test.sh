#!/bin/sh
# The units with a fallback for a C library that lacks a call of glibc compile without glibc's own calls.
# usage: plain_c_library_test.sh COMPILER CLIENT_SOURCE_DIR
set -eu
compiler=$1
source_dir=$2
for unit in core/ErrorLine queue/DirectoryCheck queue/TaskFile; do
  echo "== $unit =="
  "$compiler" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -U_GNU_SOURCE -D_DEFAULT_SOURCE \
    -I "$source_dir" -I "$source_dir/core" -I "$source_dir/queue" -I "$source_dir/../../shared/src/base" \
    -I "$source_dir/../../shared/src/tasks" "$source_dir/$unit.cpp"
done
