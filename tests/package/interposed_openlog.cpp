// The library calls the program's openlog, although the package binds all names at the start: it
// logs a refused task through this function.

#include <syslog.h>
#include <velmo/CreateTaskFile.h>

#include <cstring>

namespace {

int g_openedByTheLibrary = 0;

}  // namespace

extern "C" void openlog(const char* identity, int /*option*/, int /*facility*/) {
  g_openedByTheLibrary += std::strcmp(identity, "CreateTaskFile") == 0 ? 1 : 0;
}

int main() {
  const int refused =
      createTaskFile(nullptr, "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0);
  return refused == 1 && g_openedByTheLibrary == 1 ? 0 : 1;
}
