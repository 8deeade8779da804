// Built with hidden visibility as a plugin (with PLUGIN), which throws, and as a program, which
// loads the plugin and catches by type. usage: caught_by_type PLUGIN

#include <dlfcn.h>
#include <velmo/velmo.hpp>

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

#ifdef PLUGIN

extern "C" __attribute__((visibility("default"))) void fail(int status) {
  velmo_error error{};
  error.status = status;
  error.cause = VELMO_TIMED_OUT;
  std::strcpy(error.message, "a line");
  if (status == VELMO_IN_DOUBT) {
    throw velmo::InDoubt(error, "a name");
  }
  throw velmo::Error(error);
}

#else

namespace {

using Fail = void(int status);

// Caught as the type and as its bases, and not as another type.
template <typename Thrown, typename... Bases>
bool isCaughtByType(Fail* fail, int status) {
  const auto isCaughtAs = [=](auto* tag) {
    try {
      fail(status);
    } catch (const std::bad_alloc&) {
      return false;
    } catch (std::remove_pointer_t<decltype(tag)>& exception) {
      return typeid(exception) == typeid(Thrown) && std::strcmp(exception.what(), "a line") == 0;
    } catch (...) {
    }
    return false;
  };
  return (isCaughtAs(static_cast<Thrown*>(nullptr)) && ... &&
          isCaughtAs(static_cast<Bases*>(nullptr)));
}

bool check(const char* what, bool held) {
  std::printf("%s: %s\n", what, held ? "yes" : "NO");
  return held;
}

bool hasName(Fail* fail) {
  try {
    fail(VELMO_IN_DOUBT);
  } catch (const velmo::InDoubt& doubt) {
    return std::strcmp(doubt.taskName(), "a name") == 0 && doubt.cause() == velmo::Status::timedOut;
  }
  return false;
}

}  // namespace

int main(int, char** argv) {
  void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::printf("%s\n", dlerror());
    return 1;
  }
  const auto fail = reinterpret_cast<Fail*>(dlsym(plugin, "fail"));
  const bool held = check("Error", isCaughtByType<velmo::Error, std::runtime_error, std::exception>(
                                       fail, VELMO_REFUSED)) &&
                    check("InDoubt", isCaughtByType<velmo::InDoubt, velmo::Error, std::exception>(
                                         fail, VELMO_IN_DOUBT)) &&
                    check("with its name", hasName(fail));
  return held ? 0 : 1;
}

#endif
