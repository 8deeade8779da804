#ifndef VELMO_RESIDENT_H
#define VELMO_RESIDENT_H

/// A resident process: it prepares itself once and then runs blocks of one operation when it is
/// told to, so that several of them can take turns on one core.
///
/// It writes "ready" to standard output. For each line with a number on standard input it runs the
/// operation so many times and writes how many nanoseconds that took. It ends with the input. For C
/// and C++.

// NOLINTBEGIN(readability-identifier-naming,modernize-*): C

#ifdef __cplusplus
extern "C" {
#endif

/// One operation. Returns 0 on success.
typedef int (*velmo_operation)(void);

/// Serves until the end of the input.
/// @return the exit status of the process: 1 if an operation failed
int serve(velmo_operation operation);

/// Runs the operation so many times, or until it fails. Profilers are switched on for the time that
/// this function takes.
/// @return 0, or what the operation that failed returned
int run_block(velmo_operation operation, long count);

#ifdef __cplusplus
}
#endif

// NOLINTEND(readability-identifier-naming,modernize-*)

#endif
