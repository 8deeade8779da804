#!/bin/sh
# Compiles the examples in the comments of the public headers, which the manual pages show: each text
# between @code and @endcode is the body of a function.
# usage: header_examples_test.sh INCLUDE_DIR COMPILER HEADER...
set -eu
include_dir=$1
compiler=$2
shift 2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

for header in "$@"; do
  echo "#include <velmo/$(basename "$header")>"
done >"$directory/examples.cpp"
printf '#include <%s>\n' cstdio cstdlib exception iostream memory >>"$directory/examples.cpp"
# A compiler error names the line of the header.
awk '
  sub(/^ *\/\/\/ ?/, "") && /^@endcode/ { inside = 0; print "}" }
  inside
  /^@code/ {
    inside = 1
    printf "void example%d();\nvoid example%d() {\n#line %d \"%s\"\n", ++count, count, FNR + 1, FILENAME
  }
' "$@" >>"$directory/examples.cpp"

examples=$(grep -c '^void example.*{$' "$directory/examples.cpp")
echo "$examples examples"
[ "$examples" -ge 10 ]
"$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Wno-unused -Werror -fsyntax-only \
  -I "$include_dir" "$directory/examples.cpp"
