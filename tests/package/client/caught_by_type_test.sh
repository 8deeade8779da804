#!/bin/sh
# A plugin throws the errors of velmo.hpp, and a program that another compiler may have built catches
# them by type.
# usage: caught_by_type_test.sh LIBRARY_DIR INCLUDE_DIR SOURCE COMPILER PLUGIN_COMPILER
set -eu
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
library_dir=$1
include=$2
source=$3

# build COMPILER OUTPUT [OPTION...]
build() {
  compiler=$1
  output=$2
  shift 2
  "$compiler" -std=c++17 -O2 -fvisibility=hidden -Wall -Wextra -Wpedantic -Werror "-I$include" \
    "$@" "$source" -o "$output" "-L$library_dir" -lvelmo-client "-Wl,-rpath,$library_dir" -ldl
}
build "$4" "$directory/program"
build "$5" "$directory/plugin.so" -DPLUGIN -shared -fPIC
"$directory/program" "$directory/plugin.so"
