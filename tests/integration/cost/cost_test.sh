#!/bin/sh
# Counts what one operation of a resident process costs.
# usage: cost_test.sh STANDIN PROGRAM ROAD MOST_INSTRUCTIONS [CALL COUNT]...
#        MOST_INSTRUCTIONS: "none" to count none
set -eu
standin=$1 program=$2 road=$3 most=$4
shift 4

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# run COUNT TOOL...: runs so many operations in a tool, after ten that prepare the process. The
# environment has nothing in it that the libraries would have to search.
run() {
  count=$1
  shift
  # shellcheck disable=SC2016  # for the shell of the installation
  printf '10\n%s\n' "$count" |
    env -i PATH="$PATH" "$standin" --no-run --port 0 -- sh -c '
      mkdir -p "$DATA/velmo/jobs"
      echo "SELF_SERVER_ID = node2" >"$CONF/serverid.cfg"
      port=$(sed -n "s/.*websocket-port=\"\([0-9]*\)\".*/\1/p" "$VELMO_MODULES_XML")
      program=$1 road=$2
      shift 2
      exec "$@" "$program" "$road" "$port"' sh "$program" "$road" "$@"
}

# calls COUNT: the system calls of a run, one "name count" a line. C libraries differ in the call by which
# they look at an open file: fstat is counted as newfstatat. A reply that has not arrived yet costs
# a poll and one recvfrom more. They do not count, because the scheduler decides how many there are.
calls() {
  run "$1" strace -c -S name -U name,calls -o "$directory/table" >"$directory/output"
  awk '$2 ~ /^[0-9]+$/ && $1 != "total" { count[$1] = $2 }
    END {
      count["recvfrom"] -= count["poll"]
      count["poll"] = 0
      count["newfstatat"] += count["fstat"]
      count["fstat"] = 0
      for (name in count) if (count[name] != 0) print name, count[name]
    }' "$directory/table" | sort
}

# instructions COUNT: the user instructions of a run
instructions() {
  run "$1" valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect=run_block \
    2>"$directory/report" >"$directory/output" || { cat "$directory/report"; exit 1; }
  sed -n 's/.*Collected : \([0-9][0-9]*\).*/\1/p' "$directory/report"
}

calls 100 >"$directory/few"
calls 300 >"$directory/many"
counted=$(join -a 2 -e 0 -o 0,1.2,2.2 "$directory/few" "$directory/many" |
  awk '$3 != $2 { printf "%s %g ", $1, ($3 - $2) / 200 }')
echo "system calls: $counted"
if [ "$counted" != "$* " ]; then
  echo "expected:     $*"
  exit 1
fi

[ "$most" != none ] || exit 0
few=$(instructions 100)
many=$(instructions 300)
each=$(((many - few) / 200))
echo "instructions: $each, at most $most"
[ "$each" -gt 0 ] && [ "$each" -le "$most" ]
