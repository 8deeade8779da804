#ifndef VELMO_JOBAGE_H
#define VELMO_JOBAGE_H

#include <ctime>

namespace brix::velmo {

/// Seconds since the last use; negative if it is in the future. Times may be anything: a difference
/// beyond the range of time_t counts as the nearest one within it.
time_t ageAt(time_t now, time_t lastUsed);

/// Whether a job in memory has expired: at the maximum age itself. A maximum age of 0 means never,
/// and one below 0 is reached at once.
bool hasExpired(time_t age, long maxAge);

/// Whether the sweep removes a job and its file: only beyond the maximum age.
/// @param maxAge  above 0
bool isSweptAway(time_t age, long maxAge);

/// Whether a job file on disk is stale: at the maximum age itself, with 0 and below as for
/// hasExpired().
bool isStaleFile(time_t age, long maxAge);

}  // namespace brix::velmo

#endif
