#!/bin/sh
# Makes a fresh Debian root with a compiler and CMake, and uses the packages there as somebody does
# who was given them: debian/use_packages.sh. What they depend on comes from Debian's servers, with
# the sources of this machine's own apt.
# usage: debian_test.sh PACKAGES_DIR      as root
set -eu
if [ "$(id -u)" != 0 ]; then
  echo 'debian_test.sh has to run as root: it makes a root file system' >&2
  exit 1
fi
if [ "$1" != --isolated ]; then
  # Mounts and processes of its own: none is left, whatever ends this. In a chroot the root is no
  # mount, so that its propagation cannot be set.
  propagation=private
  unshare --mount true 2>/dev/null || propagation=unchanged
  exec unshare --mount --propagation "$propagation" --pid --kill-child "$0" --isolated "$@"
fi
packages=$2
tests=$(cd "$(dirname "$0")/.." && pwd)
tree=$(cd "$tests/.." && pwd)
version=$(cat "$tree/VERSION")
directory=$(mktemp -d)
trap 'umount "$directory" && rmdir "$directory"' EXIT
trap 'exit 1' HUP INT TERM
# The root lies in memory, some 700 megabytes: on a disk it takes up to five times as long.
mount -t tmpfs -o mode=755 root "$directory"

given=$directory/given
mkdir "$given" "$given/packages"
for package in libvelmo1 libvelmo-dev velmo-tools libvelmo-doc; do
  cp -t "$given/packages" "$packages/${package}_${version}_"*.deb
done
cp -R "$tests/package/consumer" "$tests/package/debian/use_packages.sh" \
  "$tests/package/debian/interposed_openlog.cpp" "$tests/package/exports_test.sh" \
  "$tests/integration/imported_functions_test.sh" "$tree/backend/exports.txt" "$given"
find "$tree/docs/man" -name '*.[1357]' -printf '%f\n' | LC_ALL=C sort >"$given/manual_pages"
# The first program of the README: the lines of its first indented block.
awk '/^    / { sub(/^    /, ""); print; begun = 1; next }
  begun && NF { exit }
  begun' "$tree/README.md" >"$given/first.cpp"

sources=/etc/apt/sources.list.d/debian.sources
[ -e "$sources" ] || sources=/etc/apt/sources.list
eval "$(apt-config shell check_valid_until Acquire::Check-Valid-Until)"
# shellcheck disable=SC2016 # the shell that mmdebstrap starts expands $1
TMPDIR=$directory mmdebstrap --quiet --mode=root --variant=apt --format=null \
  --include=cmake,g++,make,pkg-config \
  --aptopt="Acquire::Check-Valid-Until \"${check_valid_until:-true}\"" \
  --customize-hook="copy-in $given /" \
  --customize-hook='chroot "$1" /given/use_packages.sh' \
  bookworm /dev/null "$sources"
