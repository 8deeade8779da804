#define _POSIX_C_SOURCE 200809L

#include "resident.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static long long nanoseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000000LL + now.tv_nsec;
}

__attribute__((noinline)) int run_block(velmo_operation operation, long count) {
  for (long i = 0; i < count; ++i) {
    const int status = operation();
    if (status != 0) {
      return status;
    }
  }
  return 0;
}

int serve(velmo_operation operation) {
  char line[32];
  puts("ready");
  fflush(stdout);
  while (fgets(line, sizeof line, stdin) != NULL) {
    const long count = strtol(line, NULL, 10);
    const long long start = nanoseconds();
    const int status = run_block(operation, count);
    const long long took = nanoseconds() - start;
    if (status != 0) {
      fprintf(stderr, "an operation failed: %d\n", status);
      return 1;
    }
    printf("%lld\n", took);
    fflush(stdout);
  }
  return 0;
}
