// A program built with hidden visibility. It catches the library's exceptions by type, and its own
// exceptions pass through the library unchanged.

#include <velmo/Config.h>
#include <velmo/IMException.h>
#include <velmo/IMProperties.h>
#include <velmo/IMSemaphore.h>
#include <velmo/JobManager.h>
#include <velmo/VelmoFacadeWS.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace {

using brix::imutils::Config;
using brix::imutils::IMAssertionException;
using brix::imutils::IMException;
using brix::imutils::IMIOException;
using brix::imutils::IMProperties;
using brix::imutils::IMSemaphore;
using brix::imutils::IMTimeoutException;

bool g_failed = false;

void check(const char* what, bool held) {
  std::printf("%s: %s\n", what, held ? "yes" : "NO");
  g_failed = g_failed || !held;
}

// Caught as the type and as its base, with exactly that type; not caught as an unrelated type.
template <typename Thrown, typename Base, typename Other>
bool isCaughtByType(const std::function<void()>& throwing) {
  bool asItself = false;
  try {
    throwing();
  } catch (Other&) {
    return false;
  } catch (Thrown& exception) {
    asItself = typeid(exception) == typeid(Thrown);
  }
  try {
    throwing();
  } catch (Base& exception) {
    return asItself && dynamic_cast<Thrown*>(&exception) != nullptr;
  }
  return false;
}

class OwnError {};

class OwnConfig : public Config {
 public:
  explicit OwnConfig(const std::string& file) : Config(file) {}
  void load() override {
    throw OwnError();
  }
};

class OwnGetter : public JobPropertyGetter {
 public:
  int getPriority() override {
    throw OwnError();
  }
};

bool comesBack(const std::function<void()>& throwing) {
  try {
    throwing();
  } catch (OwnError&) {
    return true;
  }
  return false;
}

}  // namespace

// Its argument is a directory to write to.
int main(int, char** argv) {
  const std::string directory = argv[1];
  std::ofstream(directory + "/semaphore_held") << "";

  check("IMAssertionException", isCaughtByType<IMAssertionException, IMException, IMIOException>(
                                    [] { IMProperties().getProperty(nullptr); }));
  check("IMTimeoutException", isCaughtByType<IMTimeoutException, IMException, IMIOException>(
                                  [&] { IMSemaphore("held", directory, false).lock(-1); }));
  check("IMIOException", isCaughtByType<IMIOException, IMException, IMTimeoutException>(
                             [&] { IMSemaphore("held", directory + "/missing", false).lock(-1); }));
  check("VelmoException", isCaughtByType<VelmoException, std::runtime_error, std::bad_alloc>([] {
          VelmoFacadeWS("127.0.0.1", 1);  // nobody listens there
        }));

  check("thrown by a configuration of the program's",
        comesBack([&] { OwnConfig(directory + "/semaphore_held").check(); }));
  check("thrown by a property getter of the program's", comesBack([&] {
          OwnGetter getter;
          JobManager(directory, 1, 1, "", "", &getter).createJob(directory + "/job", "key");
        }));
  return g_failed ? 1 : 0;
}
