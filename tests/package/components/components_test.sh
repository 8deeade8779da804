#!/bin/sh
# Each component installs its own files, and together they install what an installation of everything
# does. Of the pages of section 3, which come from the headers, one is named.
# usage: components_test.sh BUILD_DIR PREFIX LIBDIR VERSION PYTHON_DIR    PREFIX: everything is there
set -eu
build_dir=$1
prefix=$2
libdir=$3
version=$4
python_dir=$5
here=$(dirname "$0")
# shellcheck source=tests/package/expect.sh
. "$here/../expect.sh"

# files_of DIRECTORY
files_of() {
  (cd "$1" && find . ! -type d | sed 's,^\./,,') | sed "s,^$python_dir/,PYTHON/,; s,^$libdir/,LIBDIR/,
    s/\.so\.$version\$/.so.VERSION/; s/Targets-[a-z]*\.cmake/Targets-TYPE.cmake/" |
    sed '/^share\/man\/man3\/velmo_submit\./s/\.[0-9a-z]*$//; /^share\/man\/man3\/.*\./d' |
    sed '/^share\/doc\/velmo\/html\//d' | LC_ALL=C sort
}
for component in Runtime Development Tools Documentation Python; do
  cmake --install "$build_dir" --prefix "$directory/$component" --component $component >/dev/null
  expect "$component" "$(sed "1,/^$component:\$/d; /^\$/,\$d" "$here/components.txt")" \
    "$(files_of "$directory/$component")"
  mkdir -p "$directory/together"
  cp -R -t "$directory/together" "$directory/$component"/*
done
diff -r "$directory/together" "$prefix"
echo 'together: everything'
