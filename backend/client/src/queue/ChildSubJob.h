#ifndef VELMO_CHILDSUBJOB_H
#define VELMO_CHILDSUBJOB_H

#include <string>

#include "Fault.h"

namespace velmo::client {

/// The sub-job identifier of a child: the number before the first underscore of the parent's raised
/// by one, the rest, and "_" and the suffix. "3_x" and "y" give "4_x_y".
/// @param parent  a text that is not a number in front of the underscore counts as 0
/// @param suffix  empty: nothing is appended
Result<std::string> childSubJob(const std::string& parent, const std::string& suffix);

}  // namespace velmo::client

#endif
