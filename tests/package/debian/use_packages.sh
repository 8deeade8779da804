#!/bin/sh
# Installs the packages that lie beside it, builds and runs programs against them, and removes them.
# To run in a root that may be thrown away.
set -eu
cd "$(dirname "$0")"
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
names='libvelmo1 libvelmo-dev velmo-tools libvelmo-doc'
multiarch=$(gcc -print-multiarch)
library=/usr/lib/$multiarch/libvelmo.so.1
start=$(date +%s)

step() {
  printf '== %s (at %d s) ==\n' "$1" $(($(date +%s) - start))
}
fail() {
  printf '%s\n' "$1" >&2
  exit 1
}
apt() {
  apt-get -qq --no-install-recommends "$@" >log 2>&1 || { cat log; exit 1; }
}

step 'apt installs them, with what they depend on'
apt install ./packages/*.deb
# shellcheck disable=SC2086 # a list of words
dpkg-query -W -f='${db:Status-Status} ${Package} ${Version}\n' $names
# shellcheck disable=SC2086 # a list of words
dpkg-query -L $names | while read -r path; do [ -d "$path" ] || echo "$path"; done >installed
[ ! -e /usr/include/Poco ] || fail "the networking library's headers are there"

step 'the library is what its package says'
[ "$(readlink "/usr/lib/$multiarch/libvelmo.so")" = libvelmo.so.1 ] || fail 'libvelmo.so'
readelf -d "$library" | grep -q 'Library soname: \[libvelmo\.so\.1\]' || fail 'the soname'
./exports_test.sh "$library" exports.txt
./imported_functions_test.sh "$library"
for file in "$library" /usr/bin/velmo-standin; do
  readelf -d "$file" >dynamic
  grep -q BIND_NOW dynamic || fail "$file binds late"
  if grep -E 'RPATH|RUNPATH' dynamic; then
    fail "$file has a path to libraries of its own"
  fi
done

step 'the manual pages of the tree are there, and no other'
sed -n 's,^/usr/share/man/man[0-9]/\(.*\)\.gz$,\1,p' installed | sort | diff manual_pages -
[ -e /usr/share/doc/libvelmo-doc/html/index.html ] || fail 'no HTML reference'

step 'a project finds the library with find_package'
cmake -S consumer -B consumer/build >log 2>&1 || { cat log; exit 1; }
cmake --build consumer/build >log 2>&1 || { cat log; exit 1; }
consumer/build/consumer
ldd consumer/build/consumer | grep -q " => /lib/$multiarch/libvelmo\.so\.1 " ||
  fail 'another library'
readelf -V consumer/build/consumer | grep -q ' VELMO_1 ' || fail 'no version of the names'

# usage: build SOURCE PROGRAM [MODULE]      module: another that pkg-config knows
build() {
  # shellcheck disable=SC2046 # a list of words
  g++ -std=c++17 -Wall -Wextra -Wpedantic -Werror "$1" -o "$2" \
    $(pkg-config --cflags --libs velmo "${3-velmo}")
}

step 'all headers compile together'
for header in /usr/include/velmo/*.h; do
  echo "#include <velmo/$(basename "$header")>"
done >all.cpp
[ "$(wc -l <all.cpp)" = 13 ] || fail 'not 13 headers'
echo 'int main() { return service::velmo::BaseMessage().has_addtaskrequest() ? 1 : 0; }' >>all.cpp
build all.cpp all protobuf
./all

step "the README's first program, under the stand-in"
build first.cpp first
velmo-standin --home "$PWD/home" -- ./first
[ "$(cat home/var/log/*.log)" = hello ] || fail 'its task did not say hello'

step 'the examples, under the stand-in'
for example in job_registry submit_by_file submit_by_message; do
  build "/usr/share/doc/libvelmo-dev/examples/$example.cpp" "$example"
  velmo-standin --port 0 -- "./$example"
done

step 'a program that defines a function of the platform is called by the library'
build interposed_openlog.cpp interposed_openlog
./interposed_openlog

step 'apt removes them, and nothing is left'
# shellcheck disable=SC2086 # a list of words
apt purge $names
# shellcheck disable=SC2086 # a list of words
if dpkg-query -W $names 2>/dev/null; then
  fail 'dpkg knows them still'
fi
while read -r path; do
  if [ -e "$path" ] || [ -L "$path" ]; then
    fail "left: $path"
  fi
done <installed
left=$(find / -xdev -path "$PWD" -prune -o -iname '*velmo*' -print)
[ -z "$left" ] || fail "left: $left"
if ldconfig -p | grep velmo; then
  fail 'the loader knows it still'
fi
step 'done'
