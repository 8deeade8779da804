#!/bin/sh
# Builds a project that contains the source tree. The project gets the libraries, but no tools, tests or
# benchmarks, and no warning options, language standard or settings. It installs nothing of the tree
# unless it asks for that. Then PREFIX has the archives, for other tests.
# usage: add_subdirectory_test.sh SOURCE_DIR COMPILER GENERATOR PREFIX
set -eu
source_dir=$1
compiler=$2
generator=$3
prefix=$4
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"
build=$directory/build

# The parent's CMakeLists.txt checks its variables and the targets.
quietly cmake -S "$here" -B "$build" -G "$generator" -DVELMO="$source_dir" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS=

for program in parent client; do
  expect "options that $program is compiled with" "-I$build/velmo/backend/include -std=gnu++20" \
    "$(sed -n "s/.*\"command\": \"\(.*\/$program\.cpp\)\".*/\1/p" "$build/compile_commands.json" |
      grep -oE ' -[^oc ][^ ]*' | tr -d '\n' | cut -c 2-)"
done

quietly cmake --build "$build" --verbose --parallel 2
expect 'tests' '  Test #1: parent.runs
  Test #2: client.runs

Total Tests: 2' "$(cd "$build" && ctest -N | sed 1d)"
(cd "$build" && ctest --output-on-failure)

# installed PREFIX
installed() {
  cmake --install "$build" --prefix "$1" >/dev/null
  (cd "$1" && find . ! -type d | sort)
}
expect 'what the project installs' ./bin/parent "$(installed "$directory/installed")"
expect 'the libraries' 'velmo is a SHARED_LIBRARY
velmo-client is a SHARED_LIBRARY' "$(cat "$build/types")"

quietly cmake "$build" -DBUILD_SHARED_LIBS=OFF -DVELMO_INSTALL=ON
expect 'the libraries of a project that asks for archives' 'velmo is a STATIC_LIBRARY
velmo-client is a STATIC_LIBRARY' "$(cat "$build/types")"
quietly cmake --build "$build" --parallel 2
(cd "$build" && ctest --output-on-failure)
rm -rf "$prefix"
expect 'what it asked for' './lib/libvelmo-client.a
./lib/libvelmo.a' "$(installed "$prefix" | sed 's,^\./lib[^/]*/,./lib/,' | grep '^\./lib/[^/]*$')"
