#ifndef VELMO_DURATION_H
#define VELMO_DURATION_H

#include <ctime>
#include <string>

namespace velmo::client {

/// A duration in the largest unit of which it has at least two: "90 s", "3 min", "2 h", "5 days".
std::string roughly(time_t seconds);

}  // namespace velmo::client

#endif
