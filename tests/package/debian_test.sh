#!/bin/sh
# Creates a new Debian root with compilers and CMake, and uses the packages there as a user would:
# debian/use_packages.sh. Their dependencies come from the apt sources of this machine.
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
tree=$(cd "$(dirname "$0")/../.." && pwd)
version=$(cat "$tree/VERSION")
directory=$(mktemp -d)
trap 'umount "$directory" && rmdir "$directory"' EXIT
trap 'exit 1' HUP INT TERM
# The root is in memory, some 700 megabytes: on a disk this takes up to five times as long.
mount -t tmpfs -o mode=755 root "$directory"

# The packages, and the parts of the tree that they are compared with.
given=$directory/given
mkdir -p "$given/packages" "$given/backend/client" "$given/docs" "$given/tests/integration"
for package in libvelmo1 libvelmo-dev libvelmo-client1 libvelmo-client-dev python3-velmo velmo-tools \
  libvelmo-doc; do
  cp -t "$given/packages" "$packages/${package}_${version}_"*.deb
done
cp -t "$given" "$tree/VERSION" "$tree/README.md"
cp -t "$given/backend" "$tree/backend/exports.txt"
cp -t "$given/backend/client" "$tree/backend/client/exports.txt"
cp -R -t "$given/docs" "$tree/docs/man"
cp -t "$given/tests/integration" "$tree"/tests/integration/imported_functions_test.sh \
  "$tree"/tests/integration/client_host_safety_test.sh
cp -R -t "$given/tests" "$tree/tests/package"

sources=/etc/apt/sources.list.d/debian.sources
[ -e "$sources" ] || sources=/etc/apt/sources.list
eval "$(apt-config shell check_valid_until Acquire::Check-Valid-Until)"
# shellcheck disable=SC2016 # the shell that mmdebstrap starts expands $1
TMPDIR=$directory mmdebstrap --quiet --mode=root --variant=apt --format=null \
  --include=cmake,g++,make,pkg-config \
  --aptopt="Acquire::Check-Valid-Until \"${check_valid_until:-true}\"" \
  --customize-hook="copy-in $given /" \
  --customize-hook='chroot "$1" /given/tests/package/debian/use_packages.sh' \
  bookworm /dev/null "$sources"
