#ifndef VELMO_JOINED_H
#define VELMO_JOINED_H

#include <initializer_list>
#include <string>
#include <string_view>

namespace brix::imutils {

/// The parts one after the other, with nothing between them. Allocates at most once.
std::string joined(std::initializer_list<std::string_view> parts);

}  // namespace brix::imutils

#endif
