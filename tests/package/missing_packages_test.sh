#!/bin/sh
# Configures the tree with something that it needs hidden: the message names the Debian package that
# has it, and the option that does without. Without Doxygen the library alone is configured, and its
# installation says what is missing.
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
expect 'without expat' 'Not found: EXPAT.
On Debian: apt install libexpat1-dev' "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_EXPAT=ON)"
expect 'without nettle' 'Not found: nettle.
On Debian: apt install nettle-dev' "$(configured_with -Dnettle_LIBRARY=)"
expect 'without wslay' 'Not found: wslay.
On Debian: apt install libwslay-dev' "$(configured_with -Dwslay_LIBRARY=)"
expect 'without a package of the tools' 'Not found: CLI11.
On Debian: apt install libcli11-dev
Or do without: cmake -DVELMO_BUILD_TOOLS=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)"
expect 'without another one' 'Not found: nlohmann_json.
On Debian: apt install nlohmann-json3-dev
Or do without: cmake -DVELMO_BUILD_TOOLS=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON)"
expect 'without a package of the tests' 'Not found: GTest.
On Debian: apt install libgtest-dev libgmock-dev
Or do without: cmake -DBUILD_TESTING=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)"
expect 'without a package of the benchmarks' 'Not found: benchmark.
On Debian: apt install libbenchmark-dev
Or do without: cmake -DVELMO_BUILD_BENCHMARKS=OFF ...' \
  "$(configured_with -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)"

quietly cmake -S "$source_dir" -B "$directory/library" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$compiler" -DBUILD_TESTING=OFF -DVELMO_BUILD_TOOLS=OFF \
  -DVELMO_BUILD_BENCHMARKS=OFF -DCMAKE_DISABLE_FIND_PACKAGE_Doxygen=ON
expect 'without Doxygen, the installation of the pages' \
  '-- Doxygen or Python 3 was not found: no manual pages of section 3' \
  "$(DESTDIR=$directory/root cmake --install "$directory/library/docs" | tail -1)"
