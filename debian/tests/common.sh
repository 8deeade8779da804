# Sourced by the tests of the installed packages.
# shellcheck shell=sh

tree=$(cd "$(dirname "$0")/../.." && pwd)
tests=$tree/tests/package
export LC_ALL=C.UTF-8
version=$(cat "$tree/VERSION")
standin=/usr/bin/velmo-standin
tool=/usr/bin/velmo
# shellcheck source=tests/package/expect.sh
. "$tests/expect.sh"

step() {
  printf '== %s ==\n' "$1"
}
fail() {
  printf '%s\n' "$1" >&2
  exit 1
}

# build MODULE SOURCE PROGRAM
build() {
  case $2 in
  *.c) compiler='gcc -std=c99' ;;
  *) compiler='g++ -std=c++17' ;;
  esac
  # shellcheck disable=SC2046,SC2086 # lists of words
  $compiler -Wall -Wextra -Wpedantic -Werror "$2" -o "$3" $(pkg-config --cflags --libs "$1")
}
