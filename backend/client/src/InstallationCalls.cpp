#include <memory>
#include <utility>

#include "Call.h"
#include "Fault.h"
#include "InputStruct.h"
#include "Installation.h"
#include "velmo.h"

using velmo::client::Call;
using velmo::client::Fault;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::Result;
using velmo::client::runCall;
using velmo::client::Settings;
using velmo::client::takeSettings;

velmo_status velmo_settings_from_environment(velmo_settings* out) {
  return runCall(nullptr, [&]() -> Outcome {
    if (out == nullptr) {
      return Fault{Problem::ArgumentMissing, "out"};
    }
    if (Outcome outcome = velmo::client::checkSize(out, "velmo_settings")) {
      return outcome;
    }
    velmo::client::pointToEnvironment(*out);
    return std::nullopt;
  });
}

velmo_status velmo_open(const velmo_settings* settings, velmo_installation** out,
                        velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (out == nullptr) {
      return Fault{Problem::ArgumentMissing, "out"};
    }
    *out = nullptr;
    Result<Settings> taken = takeSettings(settings);
    if (!taken.isOk()) {
      return std::move(taken.fault());
    }
    *out = std::make_unique<velmo_installation>(std::move(taken.value())).release();
    return std::nullopt;
  });
}

void velmo_close(velmo_installation* installation) {
  const Call call;
  const std::unique_ptr<velmo_installation> owned(installation);
}

const char* velmo_queue_directory(const velmo_installation* installation) {
  if (installation == nullptr || installation->queueDirectory.empty()) {
    return nullptr;
  }
  return installation->queueDirectory.c_str();
}
