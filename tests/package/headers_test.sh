#!/bin/sh
# A public header compiles alone, without a warning, and includes only the C and C++ libraries and other
# public headers. Prints the result for each header.
# usage: headers_test.sh INCLUDE_DIR COMPILER STANDARD HEADER...    STANDARD: c99, c++17, ...
set -eu
include=$1
compiler=$2
standard=$3
shift 3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

case $standard in
c++*) alone=$directory/alone.cpp ;;
*) alone=$directory/alone.c ;;
esac
warnings='-Wall -Wextra -pedantic-errors -Werror'

# Headers of the C library come from its packages; those of the compilers and the C++ library, from
# their folders.
dpkg-query -L libc6-dev linux-libc-dev >"$directory/system"
folders='^/usr/(lib/(gcc|llvm-[0-9]+)|include/(.*/)?c[+][+])/'
printf '%s\n' "$@" | sed "s|.*|$include/velmo/&|" >"$directory/public"

# All files that the compiler read for the header, one name a line.
dependencies() {
  sed 's/^[^:]*://; s/\\$//' "$directory/made" | tr -s ' ' '\n' | grep . |
    xargs -n 1 realpath -s | grep -vxF "$alone"
}

status=0
for header; do
  echo "#include <velmo/$header>" >"$alone"
  result=compiles
  : >"$directory/read"
  case $header in
  # Since release 22 the headers of Protocol Buffers include those of abseil and utf8_range.
  velmo.pb.h) foreign='^/usr/include/(google/protobuf/|absl/|utf8_(range|validity)[.]h$)' more='' ;;
  *) foreign='^$' more='-Wconversion -Wsign-conversion -Wshadow' ;;
  esac
  # shellcheck disable=SC2086 # lists of words
  "$compiler" "-std=$standard" $warnings $more "-I$include" -fsyntax-only \
    -MD -MF "$directory/made" "$alone" || result='does not compile'
  if [ "$result" = compiles ]; then
    dependencies >"$directory/read"
    if cat "$directory/public" "$directory/system" | grep -vxFf - "$directory/read" |
      grep -vE "$folders|$foreign"; then
      result='pulls in what is above'
    fi
  fi
  [ "$result" = compiles ] || status=1
  ours=$(sed -n "s|^$include/velmo/||p" "$directory/read" | tr '\n' ' ')
  echo "$header: $compiler $standard: $result; of ours: $ours"
done
exit $status
