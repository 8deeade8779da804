#!/bin/sh
# Builds the consumers against the installed package with find_package, and runs them.
# usage: find_package_test.sh PREFIX COMPILER STANDARD [FLAGS]
set -eu
prefix=$1
compiler=$2
standard=$3
flags=${4-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

quietly cmake -S "$here" -B "$directory/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_CXX_STANDARD="$standard" \
  -DCMAKE_CXX_STANDARD_REQUIRED=ON
quietly cmake --build "$directory/build" --verbose
expect_consumers "$standard" "$directory/build/consumer/consumer" \
  "$directory/build/messages/messages"
