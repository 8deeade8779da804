#!/bin/sh
# Creates a new Debian root and uses the packages there as a user would: use_packages.sh runs the tests of
# debian/tests in it. Dependencies come from the apt sources of this machine.
# usage: debian_test.sh PACKAGES_DIR      as root
set -eu
if [ "$(id -u)" != 0 ]; then
  echo 'debian_test.sh has to run as root: it makes a root file system' >&2
  exit 1
fi
if [ "$1" != --isolated ]; then
  # Namespaces for mounts and processes: none is left, however this ends. In a chroot the root is not a
  # mount, so its propagation cannot be set.
  propagation=private
  unshare --mount true 2>/dev/null || propagation=unchanged
  exec unshare --mount --propagation "$propagation" --pid --kill-child "$0" --isolated "$@"
fi
packages=$2
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../.." && pwd)
version=$(cat "$tree/VERSION")
directory=$(mktemp -d)
trap 'umount "$directory" && rmdir "$directory"' EXIT
trap 'exit 1' HUP INT TERM
# The root is in memory, some 700 megabytes: on a disk this takes up to five times as long.
mount -t tmpfs -o mode=755 root "$directory"

# The packages, and the source package, whose tests run.
given=$directory/given
mkdir -p "$given/packages"
sed -n 's/^Package: //p' "$tree/debian/control" | while read -r package; do
  cp -t "$given/packages" "$packages/${package}_${version}_"*.deb
done
tar -C "$given" --one-top-level=tree --strip-components=1 -xf "$packages/libvelmo_$version.tar.xz"
cp -t "$given" "$here/use_packages.sh"

# What the tests need apart from the packages.
needed=$(sed -n 's/^Depends: //p' "$tree/debian/tests/control" | tr ',' '\n' | tr -d ' ' | sort -u |
  grep -vE '^@$|velmo' | paste -sd,)
sources=/etc/apt/sources.list.d/debian.sources
[ -e "$sources" ] || sources=/etc/apt/sources.list
# The name in the sources: in sid, the system itself has the name of the next release.
suite=$(sed -nE 's/^(Suites:|deb [^ ]+) *([a-z]+).*/\2/p' "$sources" | head -n 1)
eval "$(apt-config shell check_valid_until Acquire::Check-Valid-Until)"
# shellcheck disable=SC2016 # the shell that mmdebstrap starts expands $1
TMPDIR=$directory mmdebstrap --quiet --mode=root --variant=apt --format=null --include="$needed" \
  --aptopt="Acquire::Check-Valid-Until \"${check_valid_until:-true}\"" \
  --customize-hook="copy-in $given /" \
  --customize-hook='chroot "$1" /given/use_packages.sh' \
  "$suite" /dev/null "$sources"
