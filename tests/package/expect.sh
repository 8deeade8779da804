# Sourced by the tests of the installed package.
# shellcheck shell=sh

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# expect TITLE EXPECTED ACTUAL
expect() {
  printf '%s:\n%s\n' "$1" "$3"
  if [ "$2" != "$3" ]; then
    printf 'expected:\n%s\n' "$2"
    exit 1
  fi
}

# quietly COMMAND [ARGUMENT...]: shows what the command says only when it fails
quietly() {
  "$@" >"$directory/log" 2>&1 || {
    cat "$directory/log"
    exit 1
  }
}

# tasks_of STANDIN COMMAND [ARGUMENT...]: runs the command under the stand-in. Prints, without the times,
# the output of the command, its exit status if that is not 0, the stand-in's report of each task, and
# the output of each task
tasks_of() {
  standin=$1
  shift
  home=$directory/home
  rm -rf "$home"
  "$standin" --home "$home" -- "$@" >"$directory/output" 2>"$directory/report" || {
    echo "exit $?" >>"$directory/output"
  }
  {
    cat "$directory/output"
    sed '/^velmo-standin: /d' "$directory/report"
    sed -n 's/^velmo-standin: //p' "$directory/report" | sort
    (cd "$home/var/log" && grep -r '' . | sort)
  } | sed "s|$home/||"'; s/[0-9]\{14\}/TIME/g; s/created [-0-9]* [:0-9]*,/created TIME,/'
}

# expect_consumers STANDARD CONSUMER MESSAGES: runs the two programs, which were compiled for the
# language standard, and checks their output
expect_consumers() {
  case $1 in
    17) macro=201703 ;;
    20) macro=202002 ;;
  esac
  # In the scratch directory, in case the program ends early.
  found=$(TMPDIR=$directory "$2")
  expect 'consumer' "C++ $macro" "$found"
  # Since version 30, Protocol Buffers begin this text with a line that changes.
  found=$("$3" | sed '/^goo\.gle\/debug/d')
  expect 'messages' 'service.velmo.BaseMessage, 57 bytes
addTaskRequest {
  priorityType: "Urgent"
  command: "echo hello"
  taskType: ShellScript
  deltaType: "Later"
  jobId: "J12"
  subJobId: "0"
  jobInfo: "#1USE=u#1JNA=n"
  relPriority: 2
}' "$found"
}
