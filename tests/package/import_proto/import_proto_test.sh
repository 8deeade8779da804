#!/bin/sh
# Builds and uses a message that imports the installed "velmo.proto". The program asks for the messages of one
# release of Protocol Buffers: the loader refuses it where the library has those of another one.
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
# The generated source includes "velmo.pb.h" without a folder. Our warnings do not apply to it.
# shellcheck disable=SC2046,SC2086 # lists of words
quietly "$compiler" -std=c++17 -w $flags -I "$headers" "$here/notice.cpp" \
  "$directory/notice.pb.cc" -I "$directory" -o "$directory/notice" \
  $(pkg-config --cflags --libs velmo protobuf) -Wl,-rpath,"$(pkg-config --variable=libdir velmo)"
expect 'notice' 'queued: T1
service.velmo.AddTaskResponse' "$("$directory/notice")"
release=$(protoc --version | sed -n 's/.* \([0-9]*\.[0-9]*\).*/\1/p')
expect 'the version of the messages' "VELMO_MESSAGES_$release" \
  "$(readelf --wide --version-info "$directory/notice" | sed -n 's/.*Name: \(VELMO_MESSAGES_[0-9.]*\) .*/\1/p')"
