#ifndef VELMO_EXPORT_H
#define VELMO_EXPORT_H

/// @file
/// The mark of what the library exports.

/// Marks a declaration as part of the shared library's interface. Everything without it is built
/// with hidden visibility and cannot be reached from outside.
#define VELMO_EXPORT __attribute__((visibility("default")))

#endif
