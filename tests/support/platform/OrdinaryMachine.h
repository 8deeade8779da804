#ifndef VELMO_TEST_ORDINARYMACHINE_H
#define VELMO_TEST_ORDINARYMACHINE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <string>

#include "PlatformCalls.h"

namespace velmo::test {

/// A machine on which velmo_check() finds nothing, under any user: the umask is 0022, and systemd,
/// which would remove the System V objects of an ordinary user, appears to be missing. Construct it
/// before the directories of the test.
class OrdinaryMachine {
 public:
  OrdinaryMachine() {
    platform().access.setFake([](const char* path, int mode) {
      if (path == std::string("/run/systemd/system")) {
        errno = ENOENT;
        return -1;
      }
      return platform().access.real(path, mode);
    });
  }

  ~OrdinaryMachine() {
    umask(m_umask);
  }

  OrdinaryMachine(const OrdinaryMachine&) = delete;
  OrdinaryMachine& operator=(const OrdinaryMachine&) = delete;

 private:
  mode_t m_umask = umask(022);
  FakeScope m_fakes;
};

}  // namespace velmo::test

#endif
