#!/bin/sh
# Builds a message of the caller's own that imports the installed "velmo.proto", and uses it.
# usage: import_proto_test.sh LIBRARY_DIR COMPILER [FLAGS]
set -eu
library_dir=$1
compiler=$2
flags=${3-}
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

PKG_CONFIG_PATH=$library_dir/pkgconfig
export PKG_CONFIG_PATH
headers=$(pkg-config --variable=includedir velmo)/velmo
quietly protoc -I "$here" -I "$headers" --cpp_out="$directory" "$here/notice.proto"
# The generated source includes "velmo.pb.h" plainly. It is not held to our warnings.
# shellcheck disable=SC2046,SC2086 # lists of words
quietly "$compiler" -std=c++17 -w $flags -I "$headers" "$here/notice.cpp" \
  "$directory/notice.pb.cc" -I "$directory" -o "$directory/notice" \
  $(pkg-config --cflags --libs velmo protobuf) -Wl,-rpath,"$(pkg-config --variable=libdir velmo)"
expect 'notice' 'queued: T1
service.velmo.AddTaskResponse' "$("$directory/notice")"
