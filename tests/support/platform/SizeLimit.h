#ifndef VELMO_TEST_SIZELIMIT_H
#define VELMO_TEST_SIZELIMIT_H

#include <sys/resource.h>

namespace velmo::test {

/// Files of this process cannot grow beyond `size` bytes while the object lives.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t size) {
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{size, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }

  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;

  ~SizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_before);
  }

 private:
  rlimit m_before{};
};

}  // namespace velmo::test

#endif
