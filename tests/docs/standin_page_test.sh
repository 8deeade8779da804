#!/bin/sh
# velmo-standin.1 has what velmo-standin --help has: the options, the variables of the environment,
# the exit statuses. It has the kinds of faults that --fault help lists, in the same three groups:
# the task of the request is queued, it is not, there are no requests.
# usage: standin_page_test.sh STANDIN PAGE
set -eu
standin=$1
page=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
"$standin" --help >"$directory/help"

# compare TITLE: the lists in the files "help" and "page" of the program and of the manual
compare() {
  sort -u -o "$directory/of_help" "$directory/of_help"
  sort -u -o "$directory/of_page" "$directory/of_page"
  if [ ! -s "$directory/of_help" ] || ! diff "$directory/of_help" "$directory/of_page"; then
    echo "$1: in the help (<), in the page (>)"
    touch "$directory/failed"
  fi
}

# The lines of a section of the page.
section() {
  awk -v title=".Sh $1" '/^\.Sh / { inside = ($0 == title) } inside' "$page"
}

# "--home DIR", "-h, --help"
sed -nE 's/^  ((-[a-z], )?--[a-z-]+( [A-Z]+)?)  .*/\1/p' "$directory/help" >"$directory/of_help"
section DESCRIPTION | sed -n 's/^\.It Fl /-/p' |
  sed 's/ , Fl /, -/; s/-Fl /--/g; s/ Ar / /' >"$directory/of_page"
compare 'options'

section SYNOPSIS | sed -n 's/^\.Op Fl Fl /--/p' | sed 's/ Ar / /' >"$directory/of_page"
sed -nE 's/^  (--[a-z-]+( [A-Z]+)?)  .*/\1/p' "$directory/help" | grep -vx -e '--version' \
  >"$directory/of_help"
compare 'options in the synopsis'

sed -n '/^Environment of/,/^$/p' "$directory/help" | grep -oE '\b[A-Z]+(_[A-Z]+)*\b' |
  grep -vx -e COMMAND >"$directory/of_help"
section ENVIRONMENT | sed -n 's/^\.It Ev //p' >"$directory/of_page"
compare 'variables'

sed -n '/^Exit status:/,$p' "$directory/help" | sed -nE 's/^  ([0-9]+(\+N)?) .*/\1/p' \
  >"$directory/of_help"
section 'EXIT STATUS' | sed -n 's/^\.It \([0-9]\)/\1/p' | sed 's/ Ns Ar //' >"$directory/of_page"
compare 'exit statuses'

"$standin" --fault help | tail -n +2 |
  sed -E 's/^([A-Za-z0-9-]+) +(queued|not queued|-) .*/\1 \2/' >"$directory/of_help"
awk '/^\.S[hs] / { inside = ($0 == ".Ss Faults") }
     /^\.Bl / { group = group "x" }
     inside && sub(/^\.It Cm /, "") { sub(/ Ns Ar /, ""); print $0, group }
     !inside { group = "" }' "$page" |
  sed 's/ x$/ queued/; s/ xx$/ not queued/; s/ xxx$/ -/' >"$directory/of_page"
compare 'faults'

[ ! -e "$directory/failed" ]
