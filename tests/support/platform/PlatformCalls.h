#ifndef VELMO_TEST_PLATFORMCALLS_H
#define VELMO_TEST_PLATFORMCALLS_H

#include <dlfcn.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <utime.h>

#include <cstdio>
#include <ctime>
#include <functional>

namespace velmo::test {

template <typename Signature>
class PlatformCall;

/// One platform function that the test program interposes. A call of the library reaches the fake
/// if there is one, and the platform otherwise.
template <typename Result, typename... Arguments>
class PlatformCall<Result(Arguments...)> {
  using Function = Result (*)(Arguments...);

 public:
  explicit PlatformCall(const char* name)
      : m_real(reinterpret_cast<Function>(dlsym(RTLD_NEXT, name))) {}

  Result operator()(Arguments... arguments) {
    return m_fake ? m_fake(arguments...) : real(arguments...);
  }

  Result real(Arguments... arguments) const {
    return m_real(arguments...);
  }

  void setFake(std::function<Result(Arguments...)> fake) {
    m_fake = std::move(fake);
  }

 private:
  Function m_real;
  std::function<Result(Arguments...)> m_fake;
};

/// The interposed functions. Variable argument lists are fixed here: syslog takes the formatted
/// text, open its mode, semctl its fourth argument as a number (0 without one).
struct PlatformCalls {
  PlatformCall<char*(const char*)> getenv{"getenv"};
  PlatformCall<int(clockid_t, timespec*)> clock_gettime{"clock_gettime"};
  PlatformCall<time_t(time_t*)> time{"time"};
  PlatformCall<int()> rand{"rand"};
  PlatformCall<int(const timespec*, timespec*)> nanosleep{"nanosleep"};
  PlatformCall<int(pid_t, int)> kill{"kill"};

  PlatformCall<int(key_t, int, int)> semget{"semget"};
  PlatformCall<int(int, int, int, long)> semctl{"semctl"};
  PlatformCall<int(int, sembuf*, size_t)> semop{"semop"};
  PlatformCall<int(int, sembuf*, size_t, const timespec*)> semtimedop{"semtimedop"};
  PlatformCall<int(key_t, size_t, int)> shmget{"shmget"};
  PlatformCall<void*(int, const void*, int)> shmat{"shmat"};
  PlatformCall<int(const void*)> shmdt{"shmdt"};

  PlatformCall<FILE*(const char*, const char*)> fopen{"fopen"};
  PlatformCall<int(FILE*)> fclose{"fclose"};
  PlatformCall<int(const char*, int, mode_t)> open{"open"};
  PlatformCall<ssize_t(int, const void*, size_t)> write{"write"};
  PlatformCall<int(int)> fsync{"fsync"};
  PlatformCall<int(int)> close{"close"};
  PlatformCall<int(const char*)> unlink{"unlink"};
  PlatformCall<int(const char*, const char*)> rename{"rename"};
  PlatformCall<int(int, const char*, int, const char*, unsigned)> renameat2{"renameat2"};
  PlatformCall<int(const char*, int)> access{"access"};
  PlatformCall<int(const char*, struct stat*)> stat{"stat"};
  PlatformCall<int(int, const char*, int, unsigned, struct statx*)> statx{"statx"};
  PlatformCall<int(const char*, const utimbuf*)> utime{"utime"};

  PlatformCall<void(const char*, int, int)> openlog{"openlog"};
  PlatformCall<void(int, const char*)> syslog{"syslog"};
  PlatformCall<void()> closelog{"closelog"};

  /// A function of the library: the job registry calls it as a program would.
  PlatformCall<char*()> generateJobID{"generateJobID"};

  /// Removes all fakes.
  void reset();
};

/// The calls of this process.
PlatformCalls& platform();

/// Removes all fakes at the beginning and at the end of its scope.
class FakeScope {
 public:
  FakeScope() {
    platform().reset();
  }
  ~FakeScope() {
    platform().reset();
  }
  FakeScope(const FakeScope&) = delete;
  FakeScope& operator=(const FakeScope&) = delete;
};

}  // namespace velmo::test

#endif
