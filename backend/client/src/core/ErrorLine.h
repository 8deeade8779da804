#ifndef VELMO_ERRORLINE_H
#define VELMO_ERRORLINE_H

#include <array>
#include <cstddef>
#include <string_view>

#include "velmo.h"

namespace velmo::client {

using ErrorMessage = decltype(velmo_error::message);

/// The texts that stand for {1}, {2} and {3}.
using ErrorTexts = std::array<std::string_view, 3>;

/// The fixed parts of a line, in which {1} to {3} stand for texts.
struct ErrorFormats {
  std::string_view prefix;
  std::string_view format;
  std::string_view remedy;  ///< empty: none
};

/// Writes one line into `message`: prefix and format, then the system's reason in English ("...: No
/// such file or directory"), unless `systemError` is 0, and then the remedy ("...; create it").
///
/// In the texts, bytes that are not printable ASCII, and backslashes, become \xNN. If the line does
/// not fit, the longest texts are cut in their middle, marked with "...". The fixed parts and the
/// reason are never cut. Allocates nothing.
void writeErrorLine(ErrorMessage& message, const ErrorFormats& formats, const ErrorTexts& texts,
                    int systemError);

}  // namespace velmo::client

#endif
