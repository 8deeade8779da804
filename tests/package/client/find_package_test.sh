#!/bin/sh
# Builds the consumers against the installed package with find_package, in C alone and in both
# languages, and runs them.
# usage: find_package_test.sh PREFIX VERSION C_COMPILER CXX_COMPILER STANDARD [FLAGS]
set -eu
prefix=$1
version=$2
c_compiler=$3
cxx_compiler=$4
standard=$5
flags=${6-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"
# shellcheck source=tests/package/expect_client.sh
. "$here/../expect_client.sh"

# build BUILD_DIR [SETTING...]
build() {
  build_dir=$directory/$1
  shift
  quietly cmake -S "$here" -B "$build_dir" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$c_compiler" -DCMAKE_C_FLAGS="$flags $careful" \
    -DCMAKE_C_STANDARD=99 -DCMAKE_C_EXTENSIONS=OFF "$@"
  quietly cmake --build "$build_dir" --verbose
}
build c
expect_outcomes "$directory/c/consumer_c" "$version"
build cpp -DCONSUMER_CXX=ON -DCMAKE_CXX_COMPILER="$cxx_compiler" \
  -DCMAKE_CXX_FLAGS="$flags $careful" -DCMAKE_CXX_STANDARD="$standard" \
  -DCMAKE_CXX_EXTENSIONS=OFF
expect_outcomes "$directory/cpp/consumer_cpp" "$version"
