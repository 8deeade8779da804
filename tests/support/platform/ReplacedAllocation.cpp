#include "ReplacedAllocation.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace velmo::test {

long g_made = 0;
long g_alive = 0;
long g_aliveInLibrary = 0;
long g_untilFailure = -1;
bool g_failsForGood = false;

}  // namespace velmo::test

namespace {

using velmo::test::g_alive;
using velmo::test::g_failsForGood;
using velmo::test::g_made;
using velmo::test::g_untilFailure;

bool mayAllocate() noexcept {
  if (g_untilFailure == 0) {
    if (!g_failsForGood) {
      g_untilFailure = -1;
    }
    errno = ENOMEM;
    return false;
  }
  if (g_untilFailure > 0) {
    --g_untilFailure;
  }
  ++g_made;
  return true;
}

void* allocate(std::size_t size, long& alive = g_alive) noexcept {
  if (!mayAllocate()) {
    return nullptr;
  }
  ++alive;
  return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
  void* memory = allocate(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void release(void* memory, long& alive = g_alive) noexcept {
  alive -= memory != nullptr ? 1 : 0;
  std::free(memory);
}

}  // namespace

namespace velmo::test {

void* countedMalloc(std::size_t size) noexcept {
  return allocate(size, g_aliveInLibrary);
}

void* countedRealloc(void* memory, std::size_t size) noexcept {
  if (memory == nullptr) {
    return allocate(size, g_aliveInLibrary);
  }
  if (!mayAllocate()) {
    return nullptr;
  }
  return std::realloc(memory, size);
}

void countedFree(void* memory) noexcept {
  release(memory, g_aliveInLibrary);
}

}  // namespace velmo::test

void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  release(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
  release(memory);
}
