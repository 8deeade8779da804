# Sourced by the tests that count system calls. Each defines
#   traced TABLE ARGUMENT...
# which runs its program with the arguments under strace and writes the count of calls to TABLE.
# shellcheck shell=sh

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# calls COUNT [ARGUMENT...]: the table of calls, one "name count" a line
calls() {
  traced "$directory/table" "$@"
  awk '$2 ~ /^[0-9]+$/ && $1 != "total" { print $1, $2 }' "$directory/table" | sort
}

# per_call [ARGUMENT...]: the system calls of one library call in steady state, one "name count" a line:
# the difference between 300 and 100 library calls, divided by 200
per_call() {
  calls 100 "$@" >"$directory/few"
  calls 300 "$@" >"$directory/many"
  join -a 2 -e 0 -o 0,1.2,2.2 "$directory/few" "$directory/many" |
    awk '$3 != $2 { print $1, ($3 - $2) / 200 }'
}

# expect TITLE EXPECTED ACTUAL
expect() {
  echo "$1:"
  echo "$3"
  if [ "$2" != "$3" ]; then
    printf 'expected:\n%s\n' "$2"
    exit 1
  fi
}
