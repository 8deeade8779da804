#ifndef VELMO_TEST_FAKERESOLVER_H
#define VELMO_TEST_FAKERESOLVER_H

#include <string>
#include <vector>

namespace velmo::test {

/// Answers the look-ups of this process while the object lives. A program that is built with
/// FakeResolver.cpp and exports its symbols looks names up through it. One object at a time.
class FakeResolver {
 public:
  /// Every name has these addresses, in this order; without one, it is unknown.
  explicit FakeResolver(const std::vector<std::string>& addresses);
  FakeResolver(const FakeResolver&) = delete;
  FakeResolver& operator=(const FakeResolver&) = delete;
  ~FakeResolver();

  /// The names that were looked up so far.
  const std::vector<std::string>& names() const {
    return m_names;
  }

  const std::vector<std::string>& addressesOf(const std::string& name);

 private:
  std::vector<std::string> m_addresses;
  std::vector<std::string> m_names;
};

}  // namespace velmo::test

#endif
