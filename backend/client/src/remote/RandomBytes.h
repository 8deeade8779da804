#ifndef VELMO_RANDOMBYTES_H
#define VELMO_RANDOMBYTES_H

#include <cstddef>

#include "Fault.h"

namespace velmo::client {

/// Fills memory with random bytes of the kernel. Never waits: early in the start of a machine, the
/// kernel may have none yet, which is a failure.
Outcome fillRandom(void* bytes, std::size_t size);

}  // namespace velmo::client

#endif
