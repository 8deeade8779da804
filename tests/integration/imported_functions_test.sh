#!/bin/sh
# Programs interpose platform functions by their plain names. The library imports them by these names:
# no fortified form, no large-file form, no newer variant.
# usage: imported_functions_test.sh LIBRARY
set -eu
imports=$(nm -D --undefined-only "$1" | sed 's/.* //; s/@.*//')

status=0
for name in access close closelog fclose fgets fopen fprintf getenv localtime_r nanosleep open openlog \
  rand rename semctl semget semop shmat shmdt shmget stat syslog time unlink utime; do
  if ! echo "$imports" | grep -qx "$name"; then
    echo "not imported: $name"
    status=1
  fi
done
if echo "$imports" | grep -E '_chk$|64$|^vsyslog$|^semtimedop$|^clock_|^gettimeofday$'; then
  echo 'imported, but a program that interposes the plain name does not reach it'
  status=1
fi
exit $status
