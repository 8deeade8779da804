#!/bin/sh
# Configures the tree while a needed package is hidden. The message names its Debian package and the
# option that makes it unnecessary.
# usage: missing_packages_test.sh SOURCE_DIR COMPILER GENERATOR
set -eu
source_dir=$1
compiler=$2
generator=$3
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/expect.sh"

# configured_with OPTION: what CMake says when it fails, between its location and its call stack
configured_with() {
  rm -rf "$directory/build"
  if cmake -S "$source_dir" -B "$directory/build" -G "$generator" \
    -DCMAKE_CXX_COMPILER="$compiler" "$1" >"$directory/log" 2>&1; then
    echo 'configured'
  else
    sed -n '/^CMake Error at cmake\/FindNeeded/,/^Call Stack/s/^  \([^ ]\)/\1/p' "$directory/log"
  fi
}

expect 'without POCO' 'Not found: Poco 1.11 COMPONENTS Foundation Net XML.
On Debian: apt install libpoco-dev' "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_Poco=ON)"
expect 'without Protocol Buffers' 'Not found: Protobuf 3.21.
On Debian: apt install libprotobuf-dev' "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_Protobuf=ON)"
expect 'without protoc' 'Not found: protoc, the compiler of Protocol Buffers.
On Debian: apt install protobuf-compiler' "$(configured_with -DProtobuf_PROTOC_EXECUTABLE=)"
expect 'without a package of the tools' 'Not found: CLI11.
On Debian: apt install libcli11-dev
Or do without: cmake -DVELMO_BUILD_TOOLS=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)"
expect 'without a package of the tests' 'Not found: GTest.
On Debian: apt install libgtest-dev libgmock-dev
Or do without: cmake -DBUILD_TESTING=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)"
expect 'without a package of the benchmarks' 'Not found: benchmark.
On Debian: apt install libbenchmark-dev
Or do without: cmake -DVELMO_BUILD_BENCHMARKS=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)"
