#!/bin/sh
# What libvelmo-client cannot do to a program, because it does not call the functions for it. It runs
# nothing while it is loaded, and needs a few small libraries only.
# usage: client_host_safety_test.sh LIBRARY
set -eu
library=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM
status=0

nm -D --undefined-only "$library" | sed 's/.* //; s/@.*//' | sort >"$directory/imports"

# none_of WHAT NAME...
none_of() {
  what=$1
  shift
  if printf '%s\n' "$@" | grep -xFf - "$directory/imports"; then
    echo "imported, and $what"
    status=1
  fi
}
none_of 'writes to the system log' openlog syslog vsyslog closelog setlogmask
none_of 'writes to standard output or standard error' stdout stderr printf vprintf puts putchar \
  perror psignal _ZSt4cout _ZSt4cerr _ZNSt8ios_base4InitC1Ev
none_of 'changes a sequence of the program' rand srand random srandom rand_r drand48 lrand48 srand48
none_of 'changes how the process treats signals' signal sigaction sigprocmask sigset siginterrupt \
  alarm setitimer timer_create raise sigaltstack
none_of 'changes the environment, the locale or the umask' setenv unsetenv putenv clearenv \
  setlocale uselocale tzset umask chdir fchdir setrlimit
none_of 'starts a thread or a process' pthread_create thrd_create fork vfork clone system popen \
  posix_spawn posix_spawnp execv execve execvp dlopen getaddrinfo_a
none_of 'ends the process' exit _exit _Exit quick_exit abort __assert_fail pthread_exit
none_of 'registers something that runs later' atexit on_exit __cxa_atexit __cxa_thread_atexit \
  pthread_atfork pthread_key_create
none_of 'keeps its result in static memory' localtime gmtime ctime asctime strerror strtok \
  gethostbyname getservbyname inet_ntoa getpwuid getgrgid ttyname
# A later expat has names with 64 that no plain name stands beside.
if grep -E '_chk$|64$' "$directory/imports" | grep -v '^XML_'; then
  echo 'imported, but a program that interposes the plain name does not reach it'
  status=1
fi
grep -qx clock_gettime "$directory/imports" || {
  echo 'no clock_gettime: this test looks at the wrong thing'
  status=1
}

# The compiler's own entry is the only one.
readelf -d "$library" >"$directory/dynamic"
entries=$(sed -n 's/.*(INIT_ARRAYSZ) *\([0-9]*\) .*/\1/p' "$directory/dynamic")
if [ "$entries" != $(($(getconf LONG_BIT) / 8)) ]; then
  echo "runs something while it is loaded: INIT_ARRAYSZ is $entries"
  status=1
fi

sed -n 's/.*(NEEDED) .*\[\(.*\)\]/\1/p' "$directory/dynamic" | sort >"$directory/needed"
allowed='libc|libgcc_s|libm|libstdc\+\+|libexpat|libnettle|libwslay|ld-linux.*'
if grep -vE "^($allowed)\.so\.[0-9]+$" "$directory/needed"; then
  echo 'needs a library that is not on the list'
  status=1
fi
if ldd "$library" | grep -iE 'poco|protobuf'; then
  echo 'loaded with it'
  status=1
fi
exit $status
