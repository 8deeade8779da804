#!/bin/sh
# The library exports exactly the names of the list, with the version VELMO_1.
# usage: exports_test.sh LIBRARY LIST
set -eu
library=$1
list=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
export LC_ALL=C

# nm prints "address kind name@@version". The version itself is an absolute symbol.
nm -DC --defined-only --with-symbol-versions "$library" | sed -E 's/^[0-9a-f]+ . //' |
  grep -vx 'VELMO_1' >"$directory/versioned"
if grep -v '@@VELMO_1$' "$directory/versioned"; then
  echo 'exported without the version VELMO_1'
  exit 1
fi
long='std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >'
sed "s/@@VELMO_1\$//; s/$long/std::string/g" "$directory/versioned" | sort -u >"$directory/exported"
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

# The three functions with C names, and the number of names.
for name in createTaskFile createChildTask generateJobID; do
  if ! nm -D --defined-only "$library" | grep -q " T $name@@VELMO_1\$"; then
    echo "no C function $name"
    status=1
  fi
done
echo "$(wc -l <"$directory/exported") names exported"
exit $status
