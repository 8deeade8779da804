#!/bin/sh
# The tables of libvelmo.7 have what the sources have, and nothing else:
# - the variables of the environment that programs of this tree read;
# - the lines that the library writes to the system log, by identity.
# usage: libvelmo_tables_test.sh SOURCE_DIR
set -eu
source=$1
page=$source/docs/man/libvelmo.7
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# compare TITLE: what the sources have, and what the page has, in files of these names
compare() {
  if [ ! -s "$directory/sources" ]; then
    echo "$1: none found in the sources"
    touch "$directory/failed"
  elif ! diff "$directory/sources" "$directory/page"; then
    echo "$1: in the sources (<), in the page (>)"
    touch "$directory/failed"
  fi
}

# The lines of a section or subsection of the page.
section() {
  awk -v title="$1" '/^\.S[hs] / { inside = ($0 == title) } inside' "$page"
}

# The texts of a list's items, escapes resolved.
items() {
  sed -n 's/^\.It "\(.*\)"$/\1/p' | sed 's/\\-/-/g; s/\\&//g; s/\\e/\\/g' | sort
}

echo '== variables of the environment =='
# velmo.1 has those that velmo alone reads.
find "$source/backend" "$source/tools" "$source/examples" "$source/benchmarks" -name '*.cpp' \
  ! -name '*_test.cpp' ! -path "$source/tools/velmo/*" -exec cat {} + >"$directory/code"
# The functions named "FromEnvironment" hand their argument on. Settings of libvelmo-client have the name of
# their variable.
cat "$source/backend/client/src/queue/Settings.h" >>"$directory/code"
if grep -E 'getenv\(' "$directory/code" |
  grep -vE 'getenv\(("[A-Z_]+"|variable|names\.[a-zA-Z]+\.variable|%s)\)'; then
  echo 'a variable whose name cannot be seen here'
  touch "$directory/failed"
fi
grep -oE '((getenv|FromEnvironment)\(|Setting [a-zA-Z]+\{)"[A-Z_]+"' "$directory/code" |
  sed 's/^[^"]*"//; s/"//' |
  sort -u >"$directory/sources"
section '.Sh ENVIRONMENT' | sed -n 's/^\.It Ev //p' | sort >"$directory/page"
compare 'variables'

# The texts that a unit of log lines returns; a line feed at the end is not shown.
texts_of() {
  sed -nE 's/^ *return "(.+)";.*/\1/p' "$1" | sed 's/\\n$//'
}

echo '== lines of the system log =='
backend=$source/backend
texts_of "$backend/velmo/src/byfile/SubmissionLog.cpp" >"$directory/texts"
sed -n 's/.*snprintf(line.*, "\(.*\)\\n".*/\1/p' "$backend/imutils/src/internal/SystemLog.cpp" \
  >>"$directory/texts"
sort -u "$directory/texts" >"$directory/sources"
section '.Ss Lines with the identity CreateTaskFile' | items >"$directory/page"
compare 'identity CreateTaskFile'

# A number is appended to each.
sed -nE 's/.*logNumber\("([^"]+)",.*/\1%d/p' "$backend/imutils/src/IMMemSemaphore.cpp" |
  sort -u >"$directory/sources"
section '.Ss Lines with the identity IMMemSemaphore' | items >"$directory/page"
compare 'identity IMMemSemaphore'

echo '== nothing else writes there =='
cd "$backend"
find . -name '*.cpp' ! -name '*_test.cpp' -exec grep -lE '\b(syslog|logError|logErrno)\(' {} + |
  sort >"$directory/sources"
printf '%s\n' ./imutils/src/IMMemSemaphore.cpp ./imutils/src/internal/SystemLog.cpp \
  ./velmo/src/byfile/SubmissionLog.cpp >"$directory/page"
compare 'units that write to the system log'
find . -name '*.cpp' -exec grep -oh 'kLogIdentity = "[A-Za-z]*"' {} + | sed 's/.* "//; s/"//' |
  sort >"$directory/sources"
sed -n 's/^\.Ss Lines with the identity //p' "$page" | sort >"$directory/page"
compare 'identities'

[ ! -e "$directory/failed" ]
