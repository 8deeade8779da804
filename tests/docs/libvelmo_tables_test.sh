#!/bin/sh
# The tables of libvelmo.7 have what the sources have, and nothing else; the pages of calls show no
# other lines:
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
find "$source/backend" "$source/tools" "$source/examples" "$source/benchmarks" -name '*.cpp' \
  ! -name '*_test.cpp' -exec cat {} + >"$directory/code"
# The functions named "FromEnvironment" hand their argument on.
if grep -E 'getenv\(' "$directory/code" | grep -vE 'getenv\(("[A-Z_]+"|variable)\)' |
  grep -v 'logLine('; then
  echo 'a variable whose name cannot be seen here'
  touch "$directory/failed"
fi
grep -oE '(getenv|FromEnvironment)\("[A-Z_]+"' "$directory/code" | sed 's/.*("//; s/"//' |
  sort -u >"$directory/sources"
section '.Sh ENVIRONMENT' | sed -n 's/^\.It Ev //p' | sort >"$directory/page"
compare 'variables'

# Prints the texts that a file logs: what is put together from parts has %s for each that is no
# literal, and a number that is appended is %d.
texts_of() {
  awk '
    { code = code $0 "\n" }
    END {
      while (match(code, /(logLine|logLines|logNumber|logError)\(/)) {
        called = substr(code, RSTART, RLENGTH - 1)
        code = substr(code, RSTART + RLENGTH)
        text = first_argument(called == "logError")
        if (text != "") {
          print text (called == "logNumber" ? "%d" : "")
        }
      }
    }
    # The argument as a format, or the one behind it; empty when it is what a caller has handed in.
    function first_argument(second,    at, c, depth, quoted, part, result, raw, literal) {
      for (at = 1; at <= length(code); ++at) {
        c = substr(code, at, 1)
        if (quoted && c == "\\") {
          part = part c substr(code, ++at, 1)
        } else if (c == "\"") {
          quoted = !quoted
          part = part c
        } else if (quoted) {
          part = part c
        } else if (depth == 0 && c ~ /[,)+]/) {
          if (part ~ /"/) {
            literal = 1
          }
          result = result format_of(part)
          raw = raw part
          part = ""
          if (c == "," && second) {
            second = 0
            result = raw = ""
          } else if (c != "+") {
            break
          }
        } else {
          depth += (c == "(") - (c == ")")
          part = part c
        }
      }
      if (!literal && raw !~ /^ ?(const .*|text|text\.c_str\(\)|line\.data\(\))$/) {
        return "a text that cannot be seen here:" raw
      }
      return literal ? result : ""
    }
    function format_of(part) {
      if (part !~ /"/) {
        return "%s"
      }
      gsub(/"[ \n]*"/, "", part)
      sub(/^[^"]*"/, "", part)
      sub(/"[^"]*$/, "", part)
      sub(/\\n$/, "", part)
      return part
    }
  ' "$1"
}

echo '== lines of the system log =='
backend=$source/backend
texts_of "$backend/velmo/src/CreateTaskFile.cpp" >"$directory/texts"
# The one line that a function of its own makes.
sed -n 's/.*snprintf(line.*, "\(.*\)\\n".*/\1/p' "$backend/imutils/src/SystemLog.cpp" \
  >>"$directory/texts"
sort -u "$directory/texts" >"$directory/sources"
cp "$directory/sources" "$directory/all"
section '.Ss Lines with the identity CreateTaskFile' | items >"$directory/page"
compare 'identity CreateTaskFile'

texts_of "$backend/imutils/src/IMMemSemaphore.cpp" | sort -u >"$directory/sources"
section '.Ss Lines with the identity IMMemSemaphore' | items >"$directory/page"
compare 'identity IMMemSemaphore'

echo '== lines in the pages of calls =='
sort -u "$directory/all" "$directory/sources" -o "$directory/all"
for name in createTaskFile CreateTaskFile generateJobID IMMemSemaphore; do
  page=$source/docs/man/$name.3
  # Where the general page has any variable, these name it.
  section '.Sh DIAGNOSTICS' | items | sed -E 's/getenv\([A-Z_]+\)/getenv(%s)/' | sort -u \
    >"$directory/shown"
  [ -s "$directory/shown" ] || { echo "$name.3: no lines"; touch "$directory/failed"; }
  if comm -13 "$directory/all" "$directory/shown" | grep .; then
    echo "$name.3: no such line is written"
    touch "$directory/failed"
  fi
done
page=$source/docs/man/libvelmo.7

echo '== nothing else writes there =='
cd "$backend"
grep -lE '\b(syslog|logError|logErrno)\(' -- */src/*.cpp | grep -v _test.cpp |
  sort >"$directory/sources"
printf '%s\n' imutils/src/IMMemSemaphore.cpp imutils/src/SystemLog.cpp \
  velmo/src/CreateTaskFile.cpp >"$directory/page"
compare 'units that write to the system log'
grep -oh 'kLogIdentity = "[A-Za-z]*"' -- */src/*.cpp | sed 's/.* "//; s/"//' |
  sort >"$directory/sources"
sed -n 's/^\.Ss Lines with the identity //p' "$page" | sort >"$directory/page"
compare 'identities'

[ ! -e "$directory/failed" ]
