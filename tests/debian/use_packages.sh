#!/bin/sh
# Installs the packages of the folder "packages" beside this script, and runs every test of debian/tests as
# autopkgtest would, in the order of the control file. The last test removes the packages. Run it in a
# disposable root, with the source package unpacked in the folder "tree".
set -eu
here=$(cd "$(dirname "$0")" && pwd)
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
start=$(date +%s)

step() {
  printf '== %s (at %d s) ==\n' "$1" $(($(date +%s) - start))
}

step 'apt installs the packages, with what they depend on'
apt-get -q -y --no-install-recommends install "$here"/packages/*.deb >"$here/log" 2>&1 || {
  cat "$here/log"
  exit 1
}
[ ! -e /usr/include/Poco ] || {
  echo "the networking library's headers came with them"
  exit 1
}

cd "$here/tree"
for test in $(sed -n 's/^Tests: //p' debian/tests/control | tr ',' ' '); do
  step "$test"
  AUTOPKGTEST_TMP=$(mktemp -d)
  export AUTOPKGTEST_TMP
  "debian/tests/$test"
  rm -r "$AUTOPKGTEST_TMP"
done
step 'done'
