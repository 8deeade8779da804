#ifndef VELMO_STANDIN_FRAMEWRITER_H
#define VELMO_STANDIN_FRAMEWRITER_H

#include <string>
#include <string_view>

namespace velmo::standin {

/// A final frame as a server sends it: without a mask, with the shortest form of its length.
std::string serverFrame(int opcode, std::string_view payload);

/// The same frame under a mask, as only a client may send it.
/// @param mask  four bytes
std::string maskedFrame(int opcode, std::string_view payload, std::string_view mask);

}  // namespace velmo::standin

#endif
