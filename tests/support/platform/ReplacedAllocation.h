#ifndef VELMO_TEST_REPLACEDALLOCATION_H
#define VELMO_TEST_REPLACEDALLOCATION_H

#include <cstddef>

namespace velmo::test {

// A program that has ReplacedAllocation.cpp among its sources allocates through these counts.

/// Allocations so far.
extern long g_made;

/// Allocations not yet released.
extern long g_alive;

/// How many more allocations succeed before one fails; below 0: all do.
extern long g_untilFailure;

/// Whether all allocations after the one that fails fail too, until g_untilFailure is set anew.
extern bool g_failsForGood;

/// Allocations of a C library that are not yet released; they are not among g_alive.
extern long g_aliveInLibrary;

/// The same for a C library that can be given its allocation functions.
void* countedMalloc(std::size_t size) noexcept;
void* countedRealloc(void* memory, std::size_t size) noexcept;
void countedFree(void* memory) noexcept;

}  // namespace velmo::test

#endif
