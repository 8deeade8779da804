#ifndef VELMO_TEST_REPLACEDALLOCATION_H
#define VELMO_TEST_REPLACEDALLOCATION_H

namespace velmo::test {

// A program that has ReplacedAllocation.cpp among its sources allocates through these counts.

/// Allocations so far.
extern long g_made;

/// Allocations not yet released.
extern long g_alive;

/// How many more allocations succeed before one fails; below 0: all do.
extern long g_untilFailure;

}  // namespace velmo::test

#endif
