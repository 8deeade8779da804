#ifndef VELMO_LARGE_COMMAND_H
#define VELMO_LARGE_COMMAND_H

/// A command of 10 MB, without percent signs. For C and C++.

// NOLINTBEGIN(readability-identifier-naming): C

#ifdef __cplusplus
extern "C" {
#endif

/// The command, made at the first call. It lives as long as the process.
const char* large_command(void);

#ifdef __cplusplus
}
#endif

// NOLINTEND(readability-identifier-naming)

#endif
