#include "PlatformCalls.h"

#include <fcntl.h>
#include <sys/shm.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstdlib>

namespace velmo::test {

void PlatformCalls::reset() {
  *this = PlatformCalls();
}

// Never destroyed: the process calls the functions below until it ends.
PlatformCalls& platform() {
  static auto* const calls = new PlatformCalls;
  return *calls;
}

}  // namespace velmo::test

using velmo::test::platform;

extern "C" {

char* getenv(const char* name) noexcept {
  return platform().getenv(name);
}

int clock_gettime(clockid_t clock, timespec* result) noexcept {
  return platform().clock_gettime(clock, result);
}

time_t time(time_t* result) noexcept {
  return platform().time(result);
}

int rand() noexcept {
  return platform().rand();
}

int nanosleep(const timespec* pause, timespec* remaining) {
  return platform().nanosleep(pause, remaining);
}

int kill(pid_t process, int signal) noexcept {
  return platform().kill(process, signal);
}

int semget(key_t key, int count, int flags) noexcept {
  return platform().semget(key, count, flags);
}

int semctl(int id, int number, int command, ...) noexcept {
  va_list arguments;
  va_start(arguments, command);
  const bool isStatus = command == IPC_STAT;
  const long argument = command == SETVAL ? va_arg(arguments, int)
                        : isStatus        ? reinterpret_cast<long>(va_arg(arguments, semid_ds*))
                                          : 0;
  va_end(arguments);
  return platform().semctl(id, number, command, argument);
}

int semop(int id, sembuf* operations, size_t count) noexcept {
  return platform().semop(id, operations, count);
}

int semtimedop(int id, sembuf* operations, size_t count, const timespec* limit) noexcept {
  return platform().semtimedop(id, operations, count, limit);
}

int shmget(key_t key, size_t size, int flags) noexcept {
  return platform().shmget(key, size, flags);
}

void* shmat(int id, const void* address, int flags) noexcept {
  return platform().shmat(id, address, flags);
}

int shmdt(const void* address) noexcept {
  return platform().shmdt(address);
}

FILE* fopen(const char* path, const char* mode) {
  return platform().fopen(path, mode);
}

int fclose(FILE* stream) {
  return platform().fclose(stream);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return platform().open(path, flags, mode);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return platform().write(descriptor, bytes, size);
}

int fsync(int descriptor) {
  return platform().fsync(descriptor);
}

int close(int descriptor) {
  return platform().close(descriptor);
}

int unlink(const char* path) noexcept {
  return platform().unlink(path);
}

int rename(const char* from, const char* to) noexcept {
  return platform().rename(from, to);
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
              unsigned flags) noexcept {
  return platform().renameat2(fromDirectory, from, toDirectory, to, flags);
}

int access(const char* path, int mode) noexcept {
  return platform().access(path, mode);
}

int stat(const char* path, struct stat* status) noexcept {
  return platform().stat(path, status);
}

int statx(int directory, const char* path, int flags, unsigned mask,
          struct statx* status) noexcept {
  return platform().statx(directory, path, flags, mask, status);
}

int utime(const char* path, const utimbuf* times) noexcept {
  return platform().utime(path, times);
}

void openlog(const char* identity, int option, int facility) {
  platform().openlog(identity, option, facility);
}

void syslog(int priority, const char* format, ...) {
  std::array<char, 65536> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  platform().syslog(priority, text.data());
}

void closelog() {
  platform().closelog();
}

char* generateJobID();

char* generateJobID() {
  return platform().generateJobID();
}

}  // extern "C"
