#!/bin/sh
# A library exports exactly the names of the list, with their versions. A version that the list gives with a
# star has names of generated code, and the list gives patterns of them.
# usage: exports_test.sh LIBRARY LIST
set -eu
library=$1
list=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
export LC_ALL=C
status=0

# Both as lines "VERSION NAME".
long='std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >'
size_t='unsigned long'
[ "$(getconf LONG_BIT)" = 64 ] || size_t='unsigned int'
sed -n "s/std::size_t/$size_t/g
  /^#/d; /^\([A-Z0-9_.*]*\):\$/{s//\1/;h;d}; /./{G;s/\(.*\)\n\(.*\)/\2 \1/p}" "$list" |
  sort >"$directory/listed"
# nm prints "address kind name@@version". A version itself is an absolute symbol.
nm -DC --defined-only --with-symbol-versions "$library" |
  sed -nE "/^[0-9a-f]+ A [A-Z0-9_.]+\$/d; s/^[0-9a-f]+ . //; s/$long/std::string/g
    s/(.*)@@(.*)/\2 \1/; p" | sort -u >"$directory/exported"

if [ -n "$(uniq -d "$directory/listed")" ]; then
  echo 'listed twice:'
  uniq -d "$directory/listed"
  status=1
fi

# The names of generated code.
generated=$(sed -n 's/^\([A-Z0-9_.]*\)\* .*/\1/p' "$directory/listed" | sort -u)
if [ -n "$generated" ]; then
  grep "^$generated" "$directory/listed" | cut -d ' ' -f 2- >"$directory/patterns"
  grep "^$generated" "$directory/exported" | cut -d ' ' -f 2- >"$directory/of_patterns"
  [ -s "$directory/of_patterns" ] || { echo "no name has a version $generated..."; status=1; }
  sed -i "/^$generated/d" "$directory/listed" "$directory/exported"
  while read -r name; do
    is_listed=no
    while read -r pattern; do
      # shellcheck disable=SC2254 # a pattern
      case $name in $pattern) is_listed=yes ;; esac
    done <"$directory/patterns"
    [ $is_listed = yes ] || { echo "exported, and no pattern has it: $name"; status=1; }
  done <"$directory/of_patterns"
fi

if ! diff "$directory/listed" "$directory/exported"; then
  echo '< only listed, > only exported'
  status=1
fi
# A name without its version and its parameters.
if sed 's/[^ ]* //; s/(.*//' "$directory/exported" | grep -E '(std|Poco|google|__gnu_cxx)::'; then
  echo "exported, and another library's"
  status=1
fi

# Names without parameters are names of C: functions, and global variables.
nm -D --defined-only "$library" >"$directory/symbols"
grep -E '^[^ ]* [A-Za-z0-9_]+$' "$directory/listed" >"$directory/plain"
while read -r node name; do
  if ! grep -q " [BDRT] $name@@$node\$" "$directory/symbols"; then
    echo "no symbol $name"
    status=1
  fi
done <"$directory/plain"
echo "$(wc -l <"$directory/exported") names exported"
exit $status
