# Sourced by the tests of the installed libvelmo-client, after expect.sh.
# shellcheck shell=sh

# The warnings of a careful caller.
# shellcheck disable=SC2034 # the scripts that source this use it
careful='-Wall -Wextra -pedantic-errors -Wconversion -Wshadow -Werror'

# expect_outcomes PROGRAM VERSION: runs consumer_c or consumer_cpp in an empty environment
expect_outcomes() {
  expect "$(basename "$1")" "version $2, header $2
settings: success
open: success
submit: not configured
  TMP is not set, 2
new job: not configured
find job: not configured
list: not configured
  0 names, none first
cancel: not configured
check: findings
queue: not set
find service: not configured
connect: the service is unreachable
send: invalid argument
usable: 0
child: success
  4_x_y
parse: success
  50 20250303140509 J12 0 731 2 sh" "$(env -i "$1")"
}
