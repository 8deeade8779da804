#!/bin/sh
# Installs the manual pages into a scratch directory and checks that
# - the pages of the folder are installed, and beside them one in section 3velmo for every class,
#   function, object and enumeration of the public headers;
# - mandoc reports nothing, not even matters of style or references to missing pages;
# - man, which formats with groff, warns of nothing;
# - each page names what its file is named for;
# - no page shows a path of this machine.
# usage: manual_pages_test.sh PAGES_DIR PAGES_BUILD_DIR HEADER...
set -eu
pages=$1
build=$2
shift 2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
failures=$directory/failures
: >"$failures"
PATH=$PATH:/usr/sbin # makewhatis

fail() {
  echo "$*" | tee -a "$failures"
}

echo '== the pages that are installed =='
DESTDIR=$directory/root cmake --install "$build" --prefix /usr >/dev/null
man=$(dirname "$(find "$directory/root" -type d -name man3)")
word='([A-Za-z][A-Za-z_]*)'
{
  find "$pages" -name '*.[1-9]' -printf '%f\n'
  for header; do
    case $header in
    *.hpp) scope=velmo:: ;;
    *) scope= ;;
    esac
    sed '/@cond/,/@endcond/d' "$header" |
      sed -nE "s/^(class|struct|enum|enum class) (VELMO_[A-Z]+ )?$word( :.*)? \{\$/$scope\3.3velmo/p
               s/^(VELMO_[A-Z]+|inline) [^(]*[ *]$word\(.*/$scope\2.3velmo/p
               s/^extern VELMO_EXPORT [^;(]* $word;.*/\1.3velmo/p
               s/^typedef [^(]* ${word}[ ;(].*/\1.3velmo/p"
  done
} | sort >"$directory/expected"
cd "$man"
for page in man*/*; do
  section=${page##*.}
  [ "${page%%/*}" = "man${section%velmo}" ] || fail "misplaced: $page"
  basename "$page"
done | sort >"$directory/installed"
grep -qx 'createTaskFile.3velmo' "$directory/expected" || fail 'no function was found in the headers'
if ! diff "$directory/expected" "$directory/installed"; then
  fail 'in the folder or declared (<), installed (>)'
fi

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
openlog 3
printf 3
rand 3
rename 2
scanf 3
strtol 3
syslog 3
LIST
makewhatis "$man" 2>"$directory/whatis" || cat "$directory/whatis"
makewhatis "$platform"
MANPATH=$man:$platform mandoc -T lint -W style man*/* >"$directory/lint" 2>&1 || true
if [ -s "$directory/lint" ]; then
  fail 'mandoc -T lint -W style:'
  cat "$directory/lint"
fi

echo '== man warns of nothing =='
# warnings_of PAGE...
warnings_of() {
  {
    LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$@" >/dev/null
  } 2>&1
}
printf '.Dd November 20, 2026\n.Dt X 3\n.Os\n.Sh NAME\n.Nm X\n.Nd \\*[unknown]\n' >"$directory/faulty"
warnings_of "$directory/faulty" | grep -q warning || fail 'man does not warn'
warnings_of man*/* >"$directory/warnings" || fail 'man fails'
if [ -s "$directory/warnings" ]; then
  fail 'man --warnings:'
  cat "$directory/warnings"
fi

echo '== each page names what it is for =='
for page in man*/*; do
  name=$(basename "${page%.*}")
  sed -n '/^\.Sh NAME/,/^\.Sh [^N]/s/^\.Nm \([^ ]*\).*/\1/p' "$page" | grep -qx "$name" ||
    fail "$page: not so in NAME"
done

echo '== no page shows where it was made =='
if grep -rF -e "$build" -e "$pages" man*; then
  fail 'a path of this machine'
fi

[ ! -s "$failures" ]
