#!/bin/sh
# script/setup, and thereby every script that builds, ends with one line that names the missing packages
# if it cannot install them. benchmarks/run and benchmarks/report end so too.
# usage: setup_test.sh SOURCE_DIR PYTHON
set -eu
source_dir=$1
python=$2
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/expect.sh"

# Programs in place of the system's, in the order of PATH; a missing one is not there at all.
bin=$directory/bin
mkdir "$bin"
for program in sh dirname sed grep tail mkdir mktemp rm cat env; do
  ln -s "$(command -v $program)" "$bin"
done
# fake NAME COMMAND
fake() {
  printf '#!/bin/sh\n%s\n' "$2" >"$bin/$1"
  chmod +x "$bin/$1"
}
# said SCRIPT [ARGUMENT...]: what it says, and its exit status
said() {
  script=$1
  shift
  PATH=$bin TMPDIR=$directory "$source_dir/$script" "$@" 2>&1 && echo 'exit 0' || echo "exit $?"
}

# The package is in the group build, and is the last argument of dpkg-query.
# shellcheck disable=SC2016 # the fake expands it
fake dpkg-query 'for name; do :; done; [ "$name" = nettle-dev ] || echo installed'
fake id 'echo 1000'
advice='on Debian: apt install nettle-dev'
expect 'no apt-get' "script/setup: not installed: nettle-dev; apt-get not found; $advice
exit 1" "$(said script/setup build)"
fake apt-get 'echo "E: Advice"; echo "E: Unable to fetch some archives"; exit 100'
expect 'neither root nor sudo' "script/setup: not installed: nettle-dev; not root, and sudo not found; $advice
exit 1" "$(said script/setup build)"
fake sudo 'echo "sudo: a password is required"; exit 1'
expect 'no password' "installing: nettle-dev
script/setup: not installed: nettle-dev; sudo: a password is required; $advice
exit 1" "$(said script/setup build)"
fake id 'echo 0'
expect 'apt-get fails' "installing: nettle-dev
script/setup: not installed: nettle-dev; E: Unable to fetch some archives; $advice
exit 1" "$(said script/setup build)"
for script in script/test script/lint script/package script/demo; do
  expect "$script" "installing: nettle-dev
script/setup: not installed: nettle-dev; E: Unable to fetch some archives; $advice
exit 1" "$(said $script "$directory/output")"
done
fake apt-get 'echo "Setting up $*"'
expect 'installed' 'installing: nettle-dev
exit 0' "$(said script/setup build)"
rm "$bin/dpkg-query" "$bin/apt-get"
expect 'not on Debian' '1' "$(said script/setup build | grep -c 'apt-get not found; on Debian: ')"

expect 'benchmarks/run' 'benchmarks/run: cmake not found; on Debian: apt install cmake' \
  "$(PATH=$bin "$python" "$source_dir/benchmarks/run" "$directory/output.json" 2>&1 || true)"
expect 'benchmarks/report' \
  'benchmarks/report: matplotlib not found; on Debian: apt install python3-matplotlib' \
  "$("$python" -S "$source_dir/benchmarks/report" "$directory/output.json" 2>&1 || true)"
