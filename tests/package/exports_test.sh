#!/bin/sh
# A library exports exactly the names of the list, with the version NODE.
# usage: exports_test.sh LIBRARY LIST NODE
set -eu
library=$1
list=$2
node=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
export LC_ALL=C

# nm prints "address kind name@@version". The version itself is an absolute symbol.
nm -DC --defined-only --with-symbol-versions "$library" | sed -E 's/^[0-9a-f]+ . //' |
  grep -vx "$node" >"$directory/versioned"
if grep -v "@@$node\$" "$directory/versioned"; then
  echo "exported without the version $node"
  exit 1
fi
long='std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >'
sed "s/@@$node\$//; s/$long/std::string/g" "$directory/versioned" | sort -u >"$directory/exported"
size_t='unsigned long'
[ "$(getconf LONG_BIT)" = 64 ] || size_t='unsigned int'
grep -v '^#' "$list" | grep . | sed "s/std::size_t/$size_t/g" | sort >"$directory/listed"

status=0
if [ -n "$(uniq -d "$directory/listed")" ]; then
  echo 'listed twice:'
  uniq -d "$directory/listed"
  status=1
fi
if ! diff "$directory/listed" "$directory/exported"; then
  echo '< only listed, > only exported'
  status=1
fi
# A name without its parameters.
if sed 's/(.*//' "$directory/exported" | grep -E '(std|Poco|google|__gnu_cxx)::'; then
  echo "exported, and another library's"
  status=1
fi

# Names without parameters are names of C: functions, and global variables.
nm -D --defined-only "$library" >"$directory/symbols"
grep -xE '[A-Za-z0-9_]+' "$directory/listed" >"$directory/plain"
while read -r name; do
  if ! grep -q " [BDRT] $name@@$node\$" "$directory/symbols"; then
    echo "no symbol $name"
    status=1
  fi
done <"$directory/plain"
echo "$(wc -l <"$directory/exported") names exported"
exit $status
