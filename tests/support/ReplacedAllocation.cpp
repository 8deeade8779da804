#include "ReplacedAllocation.h"

#include <cstdlib>
#include <new>

namespace velmo::test {

long g_made = 0;
long g_alive = 0;
long g_untilFailure = -1;

}  // namespace velmo::test

namespace {

using velmo::test::g_alive;
using velmo::test::g_made;
using velmo::test::g_untilFailure;

void* allocate(std::size_t size) noexcept {
  if (g_untilFailure == 0) {
    g_untilFailure = -1;
    return nullptr;
  }
  if (g_untilFailure > 0) {
    --g_untilFailure;
  }
  ++g_made;
  ++g_alive;
  return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
  void* memory = allocate(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void release(void* memory) noexcept {
  g_alive -= memory != nullptr ? 1 : 0;
  std::free(memory);
}

}  // namespace

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
