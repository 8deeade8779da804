#!/bin/sh
# All public headers of both libraries compile together, in two orders, without a warning. Names that
# look alike mean different things.
# usage: all_headers_test.sh INCLUDE_DIR COMPILER STANDARD HEADER...
set -eu
include=$1
compiler=$2
standard=$3
shift 3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

for header; do
  echo "#include <velmo/$header>"
done >"$directory/forward"
tac "$directory/forward" >"$directory/backward"
cat >"$directory/names" <<'NAMES'
using namespace brix::imutils;
using namespace service::velmo;
static_assert(Velmo != Hollard, "the module of modules.xml");
static_assert(TASK_SHELL_SCRIPT == 1 && ShellScript == 2, "the kinds of task");
velmo::Task task;
velmo::Job job;
velmo::Status status = velmo::Status::refused;
velmo_task given;
brix::velmo::PrioritiesConfig* priorities = nullptr;
AddTaskRequest request;
IMException* exception = nullptr;
VelmoFacade* facade = nullptr;
NAMES
for order in forward backward; do
  cat "$directory/$order" "$directory/names" >"$directory/all.cpp"
  "$compiler" "-std=$standard" -Wall -Wextra -pedantic-errors -Werror "-I$include" -fsyntax-only \
    "$directory/all.cpp"
  echo "$order: $# headers compile"
done
