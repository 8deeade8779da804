#!/bin/sh
# Installs the build into a scratch prefix, and builds and runs a consumer against it: once through
# find_package, once through pkg-config.
# usage: consumer_test.sh BUILD_DIR CONSUMER_DIR COMPILER FLAGS
set -eu
build=$1
consumer=$2
compiler=$3
flags=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
prefix=$directory/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

echo '== find_package =='
cmake -S "$consumer" -B "$directory/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$directory/log" 2>&1 ||
  { cat "$directory/log"; exit 1; }
cmake --build "$directory/consumer" --verbose >>"$directory/log" 2>&1 ||
  { cat "$directory/log"; exit 1; }
"$directory/consumer/consumer"

echo '== pkg-config =='
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name velmo.pc)")
export PKG_CONFIG_PATH
[ "$(pkg-config --modversion velmo)" = "$(cat "$consumer/../../../VERSION")" ]
library_dir=$(pkg-config --variable=libdir velmo)
# shellcheck disable=SC2046,SC2086 # lists of words
"$compiler" -std=c++17 $flags "$consumer/consumer.cpp" -o "$directory/by_pkg_config" \
  $(pkg-config --cflags --libs velmo) -Wl,-rpath,"$library_dir"
"$directory/by_pkg_config"

echo '== only what belongs to the package =='
(cd "$prefix/include" && find . -type f) | sort >"$directory/headers"
if grep -v '^\./velmo/' "$directory/headers"; then
  echo 'headers outside of include/velmo'
  exit 1
fi
