#include "DirectoryCheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace velmo::client {

namespace {

enum class Use { Read, Write };

// Reports what is wrong with a directory itself.
void checkDirectory(const char* variable, const std::string& path, Use use, const Report& report) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    const int error = errno;
    const bool isMissing = error == ENOENT || error == ENOTDIR;
    report({isMissing ? Problem::DirectoryMissing : Problem::DirectoryNotUsable, variable, path,
            error});
    return;
  }
  if (!S_ISDIR(status.st_mode)) {
    report({Problem::NotADirectory, variable, path});
    return;
  }
  if (use == Use::Write && faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    report({Problem::DirectoryNotUsable, variable, path, errno});
  }
  if ((status.st_mode & S_IWOTH) != 0) {
    report({Problem::DirectoryOpenToAll, variable, path});
  }
}

// Reports what is wrong with a setting, or with the directory that it names.
void checkSetting(const Setting& setting, const char* subdirectory, Use use, const Report& report) {
  const Result<std::string> directory = directoryOf(setting);
  if (!directory.isOk()) {
    report(directory.fault());
    return;
  }
  checkDirectory(setting.variable, directory.value() + subdirectory, use, report);
}

// Where a directory is: renaming between two places fails unless both numbers are equal.
struct Place {
  std::uint64_t mount;
  dev_t device;
  ino_t file;
};

// 0 if the kernel or the C library does not know: the device alone decides.
std::uint64_t mountOf([[maybe_unused]] const std::string& path) {
#ifdef STATX_MNT_ID
  struct statx status {};
  const bool isKnown = statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) == 0 &&
                       (status.stx_mask & STATX_MNT_ID) != 0;
  return isKnown ? status.stx_mnt_id : 0;
#else
  return 0;
#endif
}

std::optional<Place> placeOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return Place{mountOf(path), status.st_dev, status.st_ino};
}

bool isOneMount(const Place& from, const Place& to) {
  return from.mount == to.mount && from.device == to.device;
}

void checkPlaces(const std::string& temporary, const std::string& queue, const Report& report) {
  const std::optional<Place> from = placeOf(temporary);
  const std::optional<Place> to = placeOf(queue);
  if (!from || !to) {
    return;
  }
  if (!isOneMount(*from, *to)) {
    report({Problem::DifferentFileSystems, temporary, queue});
  } else if (from->file == to->file) {
    report({Problem::TmpIsQueue, temporary});
  }
}

}  // namespace

bool areOnOneMount(const std::string& from, const std::string& to) {
  const std::optional<Place> one = placeOf(from);
  const std::optional<Place> other = placeOf(to);
  return one && other && isOneMount(*one, *other);
}

void checkDirectories(const Settings& settings, const Report& report) {
  checkSetting(settings.var, "/taskqueue", Use::Write, report);
  checkSetting(settings.tmp, "", Use::Write, report);
  checkSetting(settings.data, "/velmo", Use::Write, report);
  checkSetting(settings.lockVar, "", Use::Write, report);
  for (const Setting* setting : {&settings.velmoHome, &settings.conf}) {
    if (!setting->value.empty()) {  // either may be missing
      checkSetting(*setting, "", Use::Read, report);
    }
  }
  if (directoryOf(settings.tmp).isOk() && directoryOf(settings.var).isOk()) {
    checkPlaces(settings.tmp.value, settings.var.value + "/taskqueue", report);
  }
}

}  // namespace velmo::client
