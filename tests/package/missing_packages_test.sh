#!/bin/sh
# Configures the tree with something that it needs hidden. One line names what is missing, the Debian
# package that has it, and the option that does without. Without Doxygen the library alone is configured,
# and its installation says what is missing.
# usage: missing_packages_test.sh SOURCE_DIR COMPILER GENERATOR
set -eu
source_dir=$1
compiler=$2
generator=$3
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/expect.sh"

# What CMake says when it fails, between its location and its call stack.
message() {
  sed -n '/^CMake Error at cmake\/FindNeeded/,/^Call Stack/s/^   *\([^ ]\)/\1/p' "$directory/log"
}

# Everything is found once, and the compilers are tried. Each case begins with this cache.
quietly cmake -S "$source_dir" -B "$directory/build" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$compiler"
cp "$directory/build/CMakeCache.txt" "$directory/cache"

# configured_with OPTION...
configured_with() {
  cp "$directory/cache" "$directory/build/CMakeCache.txt"
  if cmake "$@" "$directory/build" >"$directory/log" 2>&1; then
    echo 'configured'
  else
    message
  fi
}

# lacks NAME DEBIAN_PACKAGE OPTION CMAKE_OPTION...    OPTION: the one that does without, or ''
lacks() {
  expected="$1 not found; on Debian: apt install $2${3:+; or do without: -D$3=OFF}"
  title="without $1"
  shift 3
  expect "$title" "$expected" "$(configured_with "$@")"
}
# lacks_package NAME ...: as lacks; the package is hidden
lacks_package() {
  lacks "$@" "-DCMAKE_DISABLE_FIND_PACKAGE_${1%% *}=ON"
}
lacks_package 'Poco 1.11 COMPONENTS Foundation Net XML' libpoco-dev ''
lacks_package 'Protobuf 3.21' libprotobuf-dev ''
lacks 'protoc, the compiler of Protocol Buffers' protobuf-compiler '' -DVELMO_PROTOC= \
  -DProtobuf_PROTOC_EXECUTABLE=
lacks_package Threads libc6-dev ''
lacks_package EXPAT libexpat1-dev ''
lacks nettle nettle-dev '' -DVELMO_NETTLE_LIBRARY=
lacks wslay libwslay-dev '' -DVELMO_WSLAY_LIBRARY=
lacks_package CLI11 libcli11-dev VELMO_BUILD_TOOLS
lacks_package fmt libfmt-dev VELMO_BUILD_TOOLS
lacks_package nlohmann_json nlohmann-json3-dev VELMO_BUILD_TOOLS
lacks_package GTest 'libgtest-dev libgmock-dev' BUILD_TESTING
lacks_package 'OpenSSL COMPONENTS Crypto' libssl-dev BUILD_TESTING
lacks_package 'Doxygen 1.9.4' doxygen BUILD_TESTING
lacks_package 'Python3 3.9 COMPONENTS Interpreter' python3 BUILD_TESTING
lacks python3 python3 BUILD_TESTING -DVELMO_PYTHON=
lacks mypy mypy BUILD_TESTING -DVELMO_MYPY=
lacks 'the Python module cffi' python3-cffi BUILD_TESTING -DVELMO_PYTHON=/bin/false
lacks abidiff abigail-tools BUILD_TESTING -DVELMO_ABIDIFF=
lacks clang++ clang BUILD_TESTING -DVELMO_CLANG__=
lacks strace strace BUILD_TESTING -DVELMO_STRACE=
lacks_package benchmark libbenchmark-dev VELMO_BUILD_BENCHMARKS

# The programs that CMake itself needs. with_programs GENERATOR [PROGRAM...]: where PATH has these alone
with_programs() {
  wanted=$1
  shift
  rm -rf "$directory/build" "${directory:?}/bin"
  mkdir "$directory/bin"
  for program in cmake "$@"; do
    ln -s "$(command -v "$program")" "$directory/bin"
  done
  if env -u CXX PATH="$directory/bin" cmake -S "$source_dir" -B "$directory/build" -G "$wanted" \
    >"$directory/log" 2>&1; then
    echo 'configured'
  else
    message
  fi
}
expect 'without ninja' 'ninja not found; on Debian: apt install ninja-build' "$(with_programs Ninja)"
expect 'without make' 'make not found; on Debian: apt install make' \
  "$(with_programs 'Unix Makefiles')"
expect 'without a compiler' 'a C++ compiler not found; on Debian: apt install g++' \
  "$(with_programs Ninja ninja)"

quietly cmake -S "$source_dir" -B "$directory/library" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$compiler" -DBUILD_TESTING=OFF -DVELMO_BUILD_TOOLS=OFF \
  -DVELMO_BUILD_BENCHMARKS=OFF -DCMAKE_DISABLE_FIND_PACKAGE_Doxygen=ON
expect 'without Doxygen, the installation of the pages' \
  '-- Doxygen or Python 3 was not found: no manual pages of section 3' \
  "$(DESTDIR=$directory/root cmake --install "$directory/library/docs" --component Development |
    sed -n '/Doxygen/p')"
