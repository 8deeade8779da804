// The calls of velmo.h that open and examine an installation, and those that look at its queue.

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Call.h"
#include "ChildSubJob.h"
#include "GivenTask.h"
#include "InputStruct.h"
#include "Installation.h"
#include "InstallationCheck.h"
#include "Listing.h"
#include "Settings.h"
#include "TextArray.h"
#include "velmo.h"

using velmo::client::Call;
using velmo::client::Fault;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::Result;
using velmo::client::runCall;
using velmo::client::textOf;

namespace {

Outcome checkGiven(const void* argument, const char* name) {
  return argument == nullptr ? Outcome(Fault{Problem::ArgumentMissing, name}) : std::nullopt;
}

// Passes findings on, and keeps the status of the first.
class Findings {
 public:
  Findings(velmo_finding_fn* function, void* user) : m_function(function), m_user(user) {}

  void take(const Fault& fault) {
    velmo_error finding{};
    velmo::client::describeFinding(fault, finding);
    m_first = m_first == VELMO_OK ? finding.status : m_first;
    if (m_function != nullptr) {
      m_function(m_user, &finding);
    }
  }

  velmo_status first() const {
    return m_first;
  }

 private:
  velmo_finding_fn* m_function;
  void* m_user;
  velmo_status m_first = VELMO_OK;
};

}  // namespace

velmo_status velmo_settings_from_environment(velmo_settings* out) {
  return runCall(nullptr, [&]() -> Outcome {
    if (Outcome failure = checkGiven(out, "out")) {
      return failure;
    }
    if (Outcome failure = velmo::client::checkSize(out, "velmo_settings")) {
      return failure;
    }
    velmo::client::pointToEnvironment(*out);
    return std::nullopt;
  });
}

velmo_status velmo_open(const velmo_settings* settings, velmo_installation** out,
                        velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome failure = checkGiven(out, "out")) {
      return failure;
    }
    *out = nullptr;
    auto installation = velmo::client::openInstallation(settings);
    if (!installation.isOk()) {
      return installation.fault();
    }
    *out = installation.value().release();
    return std::nullopt;
  });
}

void velmo_close(velmo_installation* installation) {
  const Call call;
  delete installation;
}

velmo_status velmo_check(const velmo_installation* installation, const velmo_task* task,
                         velmo_finding_fn* finding, void* user) {
  Findings findings(finding, user);
  const auto report = [&findings](const Fault& fault) { findings.take(fault); };
  const velmo_status status = runCall(nullptr, [&]() -> Outcome {
    if (Outcome failure = checkGiven(installation, "installation")) {
      report(*failure);
      return std::nullopt;
    }
    velmo::client::checkInstallation(*installation, task, report);
    return std::nullopt;
  });
  if (status != VELMO_OK) {
    return runCall(nullptr, [&]() -> Outcome {
      report(Fault{Problem::OutOfMemory});
      return Fault{Problem::OutOfMemory};
    });
  }
  return findings.first();
}

velmo_status velmo_list(const velmo_installation* installation, velmo_listing** out,
                        velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome failure = checkGiven(out, "out")) {
      return failure;
    }
    *out = nullptr;
    if (Outcome failure = checkGiven(installation, "installation")) {
      return failure;
    }
    const Result<std::string> queue = velmo::client::queueOf(*installation);
    if (!queue.isOk()) {
      return queue.fault();
    }
    Result<velmo_listing> listing = velmo::client::listTasks(queue.value());
    if (!listing.isOk()) {
      return listing.fault();
    }
    *out = std::make_unique<velmo_listing>(std::move(listing.value())).release();
    return std::nullopt;
  });
}

size_t velmo_listing_count(const velmo_listing* listing) {
  return listing != nullptr ? listing->names.size() : 0;
}

const char* velmo_listing_name(const velmo_listing* listing, size_t index) {
  return index < velmo_listing_count(listing) ? listing->names[index].c_str() : nullptr;
}

void velmo_listing_free(velmo_listing* listing) {
  const Call call;
  delete listing;
}

velmo_status velmo_parse_name(const char* name, velmo_task_name* out) {
  return runCall(nullptr, [&]() -> Outcome {
    const auto parts = velmo::client::parseName(textOf(name));
    if (!parts) {
      return Fault{Problem::NotATaskName};
    }
    if (out != nullptr) {
      out->priority = parts->priority;
      out->task = parts->taskId;
      out->relative_priority = parts->relativePriority;
      velmo::client::copyInto(out->created, parts->created);
      velmo::client::copyInto(out->job, parts->jobId);
      velmo::client::copyInto(out->sub_job, parts->subJobId);
      velmo::client::copyInto(out->type, parts->commandType);
    }
    return std::nullopt;
  });
}

velmo_status velmo_cancel(const velmo_installation* installation, const char* name,
                          velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome failure = checkGiven(installation, "installation")) {
      return failure;
    }
    const Result<std::string> queue = velmo::client::queueOf(*installation);
    if (!queue.isOk()) {
      return queue.fault();
    }
    return velmo::client::cancelTask(queue.value(), std::string(textOf(name)));
  });
}

velmo_status velmo_child_sub_job(const char* parent, const char* suffix, char* sub_job,
                                 velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    const Result<std::string> child =
        velmo::client::childSubJob(std::string(textOf(parent)), std::string(textOf(suffix)));
    if (!child.isOk()) {
      return child.fault();
    }
    velmo::client::copyName(sub_job, child.value());
    return std::nullopt;
  });
}

const char* velmo_queue_directory(const velmo_installation* installation) {
  const bool hasQueue = installation != nullptr && !installation->queueDirectory.empty();
  return hasQueue ? installation->queueDirectory.c_str() : nullptr;
}
