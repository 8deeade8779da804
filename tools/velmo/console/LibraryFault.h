#ifndef VELMO_LIBRARYFAULT_H
#define VELMO_LIBRARYFAULT_H

#include <velmo/velmo.hpp>

#include "Fault.h"

namespace velmo::cli {

/// A failure of a private unit of the library, as the library itself reports it.
inline Error errorOf(const client::Fault& fault) {
  velmo_error error{};
  client::describe(fault, &error);
  return Error(error);
}

/// The value of a result.
/// @throws Error  its failure
template <typename T>
const T& valueOf(const client::Result<T>& result) {
  if (!result.isOk()) {
    throw errorOf(result.fault());
  }
  return result.value();
}

}  // namespace velmo::cli

#endif
