#!/bin/sh
# Builds the consumers against the installed package with pkg-config, and runs them.
# usage: pkg_config_test.sh LIBRARY_DIR VERSION C_COMPILER CXX_COMPILER STANDARD [FLAGS]
set -eu
library_dir=$1
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

PKG_CONFIG_PATH=$library_dir/pkgconfig
export PKG_CONFIG_PATH
expect 'version' "$version" "$(pkg-config --modversion velmo-client)"

# build COMPILER STANDARD SOURCE: the program of that name
build() {
  # shellcheck disable=SC2046,SC2086 # lists of words
  "$1" "-std=$2" $careful $flags "$here/$3" -o "$directory/${3%.*}" \
    $(pkg-config --cflags --libs velmo-client) \
    -Wl,-rpath,"$(pkg-config --variable=libdir velmo-client)"
  expect_outcomes "$directory/${3%.*}" "$version"
}
build "$c_compiler" c99 consumer_c.c
# The name that all compilers know.
[ "$standard" != 23 ] || standard=2b
build "$cxx_compiler" "c++$standard" consumer_cpp.cpp
