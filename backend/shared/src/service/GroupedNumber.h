#ifndef VELMO_GROUPEDNUMBER_H
#define VELMO_GROUPEDNUMBER_H

#include <optional>
#include <string>

namespace brix::velmo {

/// A port as "modules.xml" has it: white space, a sign, and decimal digits. Commas may stand
/// anywhere behind the sign and are skipped: "8,080" is 8080. The range is that of int.
/// @return nothing if the text is another one
std::optional<int> groupedNumber(const std::string& text);

}  // namespace brix::velmo

#endif
