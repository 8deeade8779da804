#include <exception>
#include <variant>

#include "Options.h"
#include "Report.h"
#include "SignalQueue.h"
#include "StandIn.h"

namespace {

constexpr int kOwnFailure = 125;

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto parsed = velmo::standin::parseOptions(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) {
      return *status;
    }
    velmo::tools::SignalQueue signals;
    return velmo::standin::StandIn(std::get<velmo::standin::Options>(parsed), signals).run();
  } catch (const std::exception& failure) {
    velmo::standin::report(failure.what());
    return kOwnFailure;
  }
}
