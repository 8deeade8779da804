#!/bin/sh
# Makes the reference and checks that
# - Doxygen has nothing to warn of, and would warn;
# - every public header has its page;
# - no page links to a file that is not there;
# - the code in the Markdown pages comes out as it stands there.
# usage: reference_test.sh DOXYGEN DOXYFILE HEADER_DIR SOURCE_DIR
set -eu
doxygen=$1
doxyfile=$2
headers=$3
source=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# make_reference NAME [SETTING...]
make_reference() {
  output=$directory/$1
  shift
  mkdir "$output"
  { cat "$doxyfile"; printf '%s\n' "OUTPUT_DIRECTORY = $output" "$@"; } |
    "$doxygen" - >"$output/log" 2>&1
}

fail() {
  echo "$*"
  touch "$directory/failed"
}

echo '== made without a warning =='
make_reference first || { cat "$directory/first/log"; exit 1; }
[ ! -s "$directory/first/log" ] || { cat "$directory/first/log"; exit 1; }

echo '== a declaration without its comment, or with a wrong one, is a failure =='
sed '/Releases the lock/,/as still held/d' "$headers/IMSemaphore.h" >"$directory/bare.h"
sed 's/@param timeoutSeconds/@param seconds/' "$headers/IMSemaphore.h" >"$directory/wrong.h"
sed '/@param autoUnlock/d' "$headers/IMMemSemaphore.h" >"$directory/incomplete.h"
if make_reference bad "INPUT = $directory/bare.h $directory/wrong.h $directory/incomplete.h"; then
  fail 'no failure'
fi
for words in 'bare.h.* Member unlock() .* is not documented' \
  "wrong.h.* argument 'seconds' of command @param is not found" \
  "parameter 'autoUnlock'"; do
  if ! grep -q "$words" "$directory/bad/log"; then
    fail "no failure with the words: $words"
    cat "$directory/bad/log"
  fi
done

echo '== every public header has its page =='
for header in "$headers"/*.h "$headers"/*.hpp; do
  name=$(basename "$header")
  page=${name%.*}_8${name##*.}.html
  if [ "$name" != velmo.pb.h ] && [ ! -f "$directory/first/html/$page" ]; then
    fail "no page: $name"
  fi
done

echo '== links lead to files of the reference =='
cd "$directory/first/html"
grep -Eo 'href="[^"]*"' ./*.html | sed 's/"$//; s/:href="/ /; s/#.*//' | sort -u >"$directory/links"
while read -r page target; do
  case $target in
    '' | http* | javascript:*) ;;
    *) [ -f "$target" ] || fail "$page: $target" ;;
  esac
done <"$directory/links"
# Newer versions write a slash of the path as 2.
grep -q '^\./index.html md_docs_2\{0,1\}formats.html$' "$directory/links" ||
  fail 'the main page has no links'
cd - >/dev/null

echo '== code comes out as it stands =='
sed 's/<[^>]*>//g; s/&lt;/</g; s/&gt;/>/g; s/&quot;/"/g; s/&#39;/'"'"'/g; s/&amp;/\&/g' \
  "$directory"/first/html/index.html "$directory"/first/html/md_*.html >"$directory/text"
# shellcheck disable=SC2016 # the backquotes of Markdown
sed '/^```/d' "$source/README.md" "$source/CONTRIBUTING.md" "$source"/docs/*.md |
  grep -o '`[^`]*`' | tr -d '`' | sort -u >"$directory/code"
grep -qx '%d' "$directory/code" || fail 'no code was found'
while read -r code; do
  grep -qF -- "$code" "$directory/text" || fail "not in the reference: $code"
done <"$directory/code"

[ ! -e "$directory/failed" ]
