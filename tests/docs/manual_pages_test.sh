#!/bin/sh
# Installs the manual pages into a scratch directory and checks that
# - what is in the folder is what is installed;
# - mandoc has nothing to say, down to matters of style and cross references that lead nowhere;
# - section 3 has a page for every public class, function, object and message, and no other, and
#   the page says so in its NAME. Objects that only the generated code knows have none.
# usage: manual_pages_test.sh PAGES_DIR PAGES_BUILD_DIR EXPORTS DECLARATIONS...
set -eu
pages=$1
build=$2
exports=$3
shift 3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
failures=$directory/failures
: >"$failures"
PATH=$PATH:/usr/sbin # makewhatis

fail() {
  echo "$*" | tee -a "$failures"
}

# compare TITLE EXPECTED ACTUAL: two files of sorted names
compare() {
  if ! diff "$2" "$3" >"$directory/difference"; then
    fail "$1"
    cat "$directory/difference"
  fi
}

# The names in the NAME section of a page.
names_of() {
  sed -n '/^\.Sh NAME/,/^\.Sh [^N]/s/^\.Nm \([^ ]*\).*/\1/p' "$1"
}

echo '== the pages of the folder are those that are installed =='
DESTDIR=$directory/root cmake --install "$build" --prefix /usr >/dev/null
man=$(dirname "$(find "$directory/root" -type d -name man3)")
find "$pages" -name '*.[1-9]' -exec basename {} \; | sort >"$directory/in_folder"
find "$man" -name '*.[1-9]' -exec basename {} \; | sort >"$directory/installed"
compare 'in the folder (<), installed (>)' "$directory/in_folder" "$directory/installed"

echo '== each page lies in the folder of its section =='
cd "$man"
for page in man*/*; do
  [ "${page%%/*}" = "man${page##*.}" ] || fail "misplaced: $page"
done

echo '== mandoc has nothing to say =='
# The pages of the platform that ours refer to: stubs, since not every machine has them.
platform=$directory/platform
while read -r name section; do
  mkdir -p "$platform/man$section"
  printf '.Dd November 20, 2026\n.Dt X %s\n.Os\n.Sh NAME\n.Nm %s\n.Nd stub\n' \
    "$section" "$name" >"$platform/man$section/$name.$section"
done <<'LIST'
_exit 2
closelog 3
dlclose 3
dlopen 3
dlsym 3
exit 3
fork 2
free 3
open 2
openlog 3
printf 3
rand 3
rename 2
scanf 3
semctl 2
semget 2
semop 2
strtol 3
syslog 3
unlink 2
LIST
makewhatis "$man" 2>"$directory/whatis" || cat "$directory/whatis"
makewhatis "$platform"
MANPATH=$man:$platform mandoc -T lint -W style man*/* >"$directory/lint" 2>&1 || true
if [ -s "$directory/lint" ]; then
  fail 'mandoc -T lint -W style:'
  cat "$directory/lint"
fi

echo '== section 3 has what is exported and declared =='
word='([A-Za-z][A-Za-z_]*)'
{
  sed -nE "s/^(service::velmo::)?$word(\(.*\))?\$/\2/p" "$exports"
  sed -nE "s/^(class|struct|enum|message) (VELMO_EXPORT )?$word( :.*)? \{\$/\3/p
           s/^VELMO_EXPORT [^(]*[ *]$word\(.*/\1/p
           s/^extern VELMO_EXPORT [^;(]* $word;.*/\1/p" "$@"
} | sort -u >"$directory/declared"
find man3 -name '*.3' -exec basename {} .3 \; | sort >"$directory/section3"
compare 'declared (<), pages (>)' "$directory/declared" "$directory/section3"

echo '== each page names what it is for =='
for page in man*/*; do
  if [ -L "$page" ]; then
    target=${page%/*}/$(readlink "$page")
    { [ -f "$target" ] && [ ! -L "$target" ]; } || fail "$page leads to $target, which is no page"
    expected='p'
  else
    expected='1p' # a page is named for its first name; the others are links
  fi
  name=$(basename "${page%.*}")
  names_of "$page" | sed -n "$expected" | grep -qx "$name" || fail "$page: not so in NAME"
  for other in $(names_of "$page"); do
    [ -f "${page%/*}/$other.${page##*.}" ] || fail "$page: $other in NAME has no page"
  done
done

[ ! -s "$failures" ]
