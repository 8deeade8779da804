#!/bin/sh
# Installs the packages, builds and runs programs against them, and removes them. Run it in a disposable
# root, in a tree with the packages in the folder "packages".
set -eu
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../../.." && pwd)
tests=$tree/tests/package
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
names='libvelmo1 libvelmo-dev libvelmo-client1 libvelmo-client-dev python3-velmo velmo-tools libvelmo-doc'
version=$(cat "$tree/VERSION")
library_dir=/usr/lib/$(gcc -print-multiarch)
library=$library_dir/libvelmo.so.1
client=$library_dir/libvelmo-client.so.1
standin=/usr/bin/velmo-standin
tool=/usr/bin/velmo
# shellcheck source=tests/package/expect.sh
. "$tests/expect.sh"
start=$(date +%s)

step() {
  printf '== %s (at %d s) ==\n' "$1" $(($(date +%s) - start))
}
fail() {
  printf '%s\n' "$1" >&2
  exit 1
}

step 'apt installs them, with what they depend on'
quietly apt-get -q -y --no-install-recommends install "$tree"/packages/*.deb
# shellcheck disable=SC2086 # a list of words
dpkg-query -W -f='${db:Status-Status} ${Package} ${Version}\n' $names | sort >"$directory/state"
expect 'state' "installed libvelmo-client-dev $version
installed libvelmo-client1 $version
installed libvelmo-dev $version
installed libvelmo-doc $version
installed libvelmo1 $version
installed python3-velmo $version
installed velmo-tools $version" "$(cat "$directory/state")"
# shellcheck disable=SC2086 # a list of words
dpkg-query -L $names | while read -r path; do
  [ -d "$path" ] || echo "$path"
done >"$directory/installed"
[ ! -e /usr/include/Poco ] || fail "the networking library's headers came with them"

step 'the libraries are what their packages say'
for name in libvelmo libvelmo-client; do
  expect 'link' "$name.so.1" "$(readlink "$library_dir/$name.so")"
  expect 'soname' "$name.so.1" \
    "$(readelf -d "$library_dir/$name.so.1" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')"
done
"$tests/exports_test.sh" "$library" "$tree/backend/exports.txt" VELMO_1
"$tests/exports_test.sh" "$client" "$tree/backend/client/exports.txt" VELMO_CLIENT_1
"$tree/tests/integration/imported_functions_test.sh" "$library"
"$tree/tests/integration/client_host_safety_test.sh" "$client"
for file in "$library" "$client" "$standin" "$tool"; do
  readelf -d "$file" >"$directory/dynamic"
  grep -q BIND_NOW "$directory/dynamic" || fail "$file binds late"
  if grep -E 'RPATH|RUNPATH' "$directory/dynamic"; then
    fail "$file has a path to its libraries"
  fi
done

step 'programs load it, and ask for the version of its names'
ldd "$standin" | grep -q " => /lib/${library_dir##*/}/libvelmo\.so\.1 " ||
  fail 'velmo-standin loads another library'
readelf -V "$standin" | grep -q ' VELMO_1 ' || fail 'velmo-standin asks for no version'

step 'the manual pages of the tree are there, those of section 3 too, and no other'
sed -n 's,^/usr/share/man/man[1-9]/\(.*\)\.gz$,\1,p' "$directory/installed" | sort \
  >"$directory/pages"
find "$tree/docs/man" -name '*.[1-9]' -printf '%f\n' | sort >"$directory/written"
grep -v '\.3$' "$directory/pages" | diff "$directory/written" -
# One of a function, of a class, of an enumeration, of a variable.
for page in createTaskFile JobManager TaskType g_imVerbose velmo_submit velmo::Installation; do
  grep -qx "$page.3" "$directory/pages" || fail "no $page.3"
done
for page in html/index.html docs/formats.md; do
  [ -e "/usr/share/doc/libvelmo-doc/$page" ] || fail "no $page"
done

step 'the tool submits, and its doctor finds nothing; shells complete it'
expect 'version' "velmo $version" "$("$tool" --version)"
quietly "$standin" --port 0 --fail-on-task -- "$tool" submit -p Normal -- true
quietly "$standin" --port 0 --fail-on-task -- "$tool" submit -p Normal --service -- true
quietly "$standin" --port 0 -- "$tool" doctor --connect
for file in bash-completion/completions/velmo zsh/vendor-completions/_velmo \
  fish/vendor_completions.d/velmo.fish; do
  [ -e "/usr/share/$file" ] || fail "no $file"
done

step 'a project finds the library with find_package'
"$tests/find_package/find_package_test.sh" /usr g++ 17

step 'and with pkg-config, which names no directory of the system'
expect 'flags' '-lvelmo' "$(pkg-config --cflags --libs velmo | sed 's/ *$//')"
"$tests/pkg_config/pkg_config_test.sh" "$library_dir" "$version" g++ 17

step 'the same for the client library, in C and in C++'
"$tests/client/find_package_test.sh" /usr "$version" gcc g++ 17
expect 'flags' '-lvelmo-client' "$(pkg-config --cflags --libs velmo-client | sed 's/ *$//')"
"$tests/client/pkg_config_test.sh" "$library_dir" "$version" gcc g++ 17

step 'the first program of README.md, under the stand-in'
"$tests/readme_program/readme_program_test.sh" "$tree/README.md" /usr "$standin" g++

# usage: build MODULE SOURCE PROGRAM
build() {
  case $2 in
  *.c) compiler='gcc -std=c99' ;;
  *) compiler='g++ -std=c++17' ;;
  esac
  # shellcheck disable=SC2046,SC2086 # lists of words
  $compiler -Wall -Wextra -Wpedantic -Werror "$2" -o "$3" $(pkg-config --cflags --libs "$1")
}

step 'the examples of libvelmo, under the stand-in'
for example in job_registry submit_by_file submit_by_message; do
  build velmo "/usr/share/doc/libvelmo-dev/examples/$example.cpp" "$directory/$example"
  quietly "$standin" --port 0 -- "$directory/$example"
done

step 'the examples of libvelmo-client in C, C++ and Python: under the stand-in, and without a service'
for source in submit.cpp submit_from_c.c; do
  build velmo-client "/usr/share/doc/libvelmo-client-dev/examples/$source" "$directory/${source%.*}"
done
python=/usr/share/doc/python3-velmo/examples/submit_from_python.py
# Each word list is one way to run an example.
for program in "$directory/submit" "$directory/submit --message" "$directory/submit_from_c" \
  "python3 $python" "python3 $python --message"; do
  # shellcheck disable=SC2086 # a list of words
  quietly "$standin" --port 0 --fail-on-task -- $program
  # shellcheck disable=SC2086 # a list of words
  if env -i PATH="$PATH" $program >"$directory/refusal" 2>&1; then
    fail "$program submitted without a service"
  fi
  grep -E '^not queued: (([A-Z_]+) is not set|cannot read ".*": No such file or directory)$' \
    "$directory/refusal" || fail "no reason: $(cat "$directory/refusal")"
done

step 'the library calls the platform functions that a program defines'
build velmo "$here/interposed_openlog.cpp" "$directory/interposed_openlog"
"$directory/interposed_openlog"

step 'apt removes them, and nothing is left'
# shellcheck disable=SC2086 # a list of words
quietly apt-get -q -y purge $names
# shellcheck disable=SC2086 # a list of words
if dpkg-query -W $names 2>/dev/null; then
  fail 'dpkg knows them still'
fi
while read -r path; do
  if [ -e "$path" ] || [ -L "$path" ]; then
    fail "left: $path"
  fi
done <"$directory/installed"
left=$(find / -xdev \( -path "$tree" -o -path "$directory" \) -prune -o -iname '*velmo*' -print)
[ -z "$left" ] || fail "left: $left"
if ldconfig -p | grep velmo; then
  fail 'the loader knows it still'
fi
step 'done'
