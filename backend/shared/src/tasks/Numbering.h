#ifndef VELMO_NUMBERING_H
#define VELMO_NUMBERING_H

#include <cstdint>

namespace brix::velmo {

/// The number that a machine's job counter issues after `last`: 0 to 999999, then 0 again. There is
/// no lower bound: -7 is followed by -6.
int followingJobNumber(int last);

/// The identifier that the task counter issues after `last`: up to 2147483646, then 0 again. The
/// largest int, which only another program can have written, is followed by the smallest.
std::int32_t followingTaskId(std::int32_t last);

/// `priority` raised by `adjustment`, between 0 and 9999. An adjustment of 0 changes nothing: a
/// class that is configured outside of these bounds stays there.
int adjustedPriority(int priority, int adjustment);

}  // namespace brix::velmo

#endif
