#!/bin/sh
# The library imports the platform functions that programs interpose by their plain names: no fortified
# form, no large-file form, no relative.
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
  echo 'imported, and out of reach for a program that interposes the plain name'
  status=1
fi
exit $status
