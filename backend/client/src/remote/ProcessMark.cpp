#include "ProcessMark.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace velmo::client {

namespace {

constexpr std::size_t kSize = 1;  // the kernel makes it a page

// Some emulators accept any advice and follow none that they do not know.
bool refusesUnknownAdvice(void* page) {
  constexpr int kUnknown = -1;
  return madvise(page, kSize, kUnknown) != 0;
}

volatile unsigned char* takePage() {
  void* const page =
      mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    return nullptr;
  }
  if (!refusesUnknownAdvice(page) || madvise(page, kSize, MADV_WIPEONFORK) != 0) {
    munmap(page, kSize);
    return nullptr;
  }
  return static_cast<volatile unsigned char*>(page);
}

}  // namespace

ProcessMark::ProcessMark() : m_page(takePage()), m_process(getpid()) {
  if (m_page != nullptr) {
    *m_page = 1;
  }
}

ProcessMark::~ProcessMark() {
  if (m_page != nullptr) {
    munmap(const_cast<unsigned char*>(m_page), kSize);
  }
}

bool ProcessMark::isOfThisProcess() const {
  return m_page != nullptr ? *m_page != 0 : getpid() == m_process;
}

}  // namespace velmo::client
