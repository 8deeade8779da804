#!/bin/sh
# The Markdown pages against the tree:
# - each link of a page within the tree leads to a file, and to a heading where it names one;
# - the table of CMake options in README.md has those that there are;
# - the tests that the pages name exist.
# usage: pages_test.sh SOURCE_DIR
set -eu
cd "$1"
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

fail() {
  echo "$*"
  touch "$directory/failed"
}

# The names by which links reach the headings of a page.
headings() {
  awk '
    /^```/ { inside = !inside }
    !inside && /^#/ {
      name = tolower($0)
      gsub(/^#+ *|[^a-z0-9 _-]/, "", name)
      gsub(/ /, "-", name)
      print name
    }
  ' "$1"
}

echo '== links =='
# PAGE TARGET, one a line
find . -name build -prune -o -name '*.md' -exec grep -HoE '\]\([^):]+\)' {} + |
  sed 's/:\](/ /; s/)$//' >"$directory/links"
grep -q '^\./README.md docs/formats.md$' "$directory/links" || fail 'no links were found'
grep -q '^\./docs/formats.md #task-file$' "$directory/links" || fail 'no links to headings'
while read -r page target; do
  file=${target%%#*}
  if [ -n "$file" ]; then
    file=$(dirname "$page")/$file
  else
    file=$page
  fi
  if [ ! -e "$file" ]; then
    fail "$page: $target leads nowhere"
  elif [ "$target" != "${target#*#}" ] && ! headings "$file" | grep -qxF "${target#*#}"; then
    fail "$page: $target names no heading"
  fi
done <"$directory/links"

echo '== options =='
# CTest's module brings the first one.
{ echo BUILD_TESTING && sed -n 's/^ *option(\([A-Z_]*\) .*/\1/p' CMakeLists.txt; } |
  sort >"$directory/sources"
sed -n '/^| CMake option |/,/^$/s/^| .\([A-Z_]*\). .*/\1/p' README.md | sort >"$directory/page"
diff "$directory/sources" "$directory/page" ||
  fail 'CMake options: in CMakeLists.txt (<), in README.md (>)'

# A project that contains this tree has one name space with it. The others are CMake's.
find . -name build -prune -o \( -name CMakeLists.txt -o -name '*.cmake' \) -exec cat {} + |
  sed -nE 's/^ *(option|find_path|find_library|find_program)\(([^ ]*) .*/\2/p
    s/^ *set\(([A-Za-z_]*) .* CACHE .*/\1/p' >"$directory/variables"
grep -q . "$directory/variables" || fail 'no variables of the cache were found'
! grep -vE '^(VELMO_|[$][{]variable[}]_|BUILD_SHARED_LIBS$|CMAKE_BUILD_TYPE$)' "$directory/variables" ||
  fail 'variables of the cache that do not begin with VELMO_'

echo '== tests that pages name =='
# shellcheck disable=SC2016 # the backquotes of Markdown
grep -ohE '`[A-Z][A-Za-z]*Test\.[A-Z][A-Za-z0-9]*`' docs/*.md | tr -d '`' | sort -u >"$directory/named"
find backend tests tools -name '*_test.cpp' -exec cat {} + | tr '\n' ' ' >"$directory/tests"
grep -q . "$directory/named" || fail 'no names of tests were found'
while IFS=. read -r suite test; do
  grep -qE "TEST(_F|_P)?\($suite, +$test\)" "$directory/tests" || fail "no such test: $suite.$test"
done <"$directory/named"

[ ! -e "$directory/failed" ]
