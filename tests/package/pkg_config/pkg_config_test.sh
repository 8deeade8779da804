#!/bin/sh
# Builds the consumers against the installed package with pkg-config, and runs them.
# usage: pkg_config_test.sh LIBRARY_DIR VERSION COMPILER STANDARD [FLAGS]
set -eu
library_dir=$1
version=$2
compiler=$3
standard=$4
flags=${5-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

PKG_CONFIG_PATH=$library_dir/pkgconfig
export PKG_CONFIG_PATH
expect 'version' "$version" "$(pkg-config --modversion velmo)"

# build PROGRAM MODULE...
build() {
  program=$1
  shift
  # shellcheck disable=SC2046,SC2086 # lists of words
  "$compiler" "-std=c++$standard" $flags "$here/../$program/$program.cpp" -o "$directory/$program" \
    $(pkg-config --cflags --libs "$@") -Wl,-rpath,"$(pkg-config --variable=libdir velmo)"
}
build consumer velmo
build messages velmo protobuf
expect_consumers "$standard" "$directory/consumer" "$directory/messages"
