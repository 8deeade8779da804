#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "Call.h"
#include "Fault.h"
#include "GivenTask.h"
#include "Installation.h"
#include "JobStore.h"
#include "JobText.h"
#include "Submission.h"
#include "TextArray.h"
#include "Wait.h"
#include "velmo.h"

using brix::velmo::JobFileFields;
using velmo::client::checkStorable;
using velmo::client::checkTimeout;
using velmo::client::copyInto;
using velmo::client::copyName;
using velmo::client::drawJob;
using velmo::client::Fault;
using velmo::client::FoundJob;
using velmo::client::GivenTask;
using velmo::client::jobInformation;
using velmo::client::JobStore;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::readsBack;
using velmo::client::Result;
using velmo::client::runCall;
using velmo::client::submitTask;
using velmo::client::takeTask;
using velmo::client::textOf;
using velmo::client::Wait;

namespace {

Outcome checkCall(const velmo_installation* installation, int timeoutMs, unsigned flags) {
  if (installation == nullptr) {
    return Fault{Problem::ArgumentMissing, "installation"};
  }
  if ((flags & ~VELMO_DURABLE) != 0) {
    return Fault{Problem::FlagsNotUnderstood, std::to_string(flags)};
  }
  return checkTimeout(timeoutMs);
}

bool isDurable(unsigned flags) {
  return (flags & VELMO_DURABLE) != 0;
}

// A text in an array of the caller, which may lack its terminating NUL.
Outcome takeArray(const char* name, const char (&array)[VELMO_NAME_SIZE], std::string& text) {
  const char* end = std::find(std::begin(array), std::end(array), '\0');
  if (end == std::end(array)) {
    return Fault{Problem::ArgumentTooLong, name, std::to_string(VELMO_NAME_SIZE)};
  }
  text.assign(array, end);
  return checkStorable(name, text);
}

Outcome takeJob(const velmo_job* job, JobFileFields& fields) {
  if (job == nullptr) {
    return Fault{Problem::ArgumentMissing, "in_out"};
  }
  fields.priority = job->priority;
  if (Outcome outcome = takeArray("user", job->user, fields.user)) {
    return outcome;
  }
  return takeArray("name", job->name, fields.name);
}

// Takes a new job whose identifier reads back from a job file. Otherwise takes none.
Result<std::string> drawStorableJob(const velmo_installation& installation, bool isDurable,
                                    const Wait& wait) {
  const Result<std::string> longest = installation.identity.longestJobId();
  if (longest.isOk() && !readsBack("id", longest.value())) {
    return installation.identity.unusable();
  }
  return drawJob(installation, isDurable, wait);
}

velmo_job jobOf(const FoundJob& found) {
  velmo_job job{};
  copyInto(job.id, found.fields.id);
  copyInto(job.user, found.fields.user);
  copyInto(job.name, found.fields.name);
  copyInto(job.information, jobInformation(found.fields));
  job.priority = found.fields.priority;
  job.is_new = found.isNew ? 1 : 0;
  return job;
}

}  // namespace

velmo_status velmo_submit(const velmo_installation* installation, const velmo_task* task,
                          int timeout_ms, unsigned flags, char name[VELMO_NAME_SIZE],
                          velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome outcome = checkCall(installation, timeout_ms, flags)) {
      return outcome;
    }
    const Result<GivenTask> given = takeTask(task);
    if (!given.isOk()) {
      return given.fault();
    }
    const Wait wait(timeout_ms, installation->settings.stop);
    std::string queuedAs;
    Outcome outcome = submitTask(*installation, given.value(), isDurable(flags), wait, queuedAs);
    if (!outcome || outcome->isInDoubt) {
      copyName(name, queuedAs);
    }
    return outcome;
  });
}

velmo_status velmo_new_job(const velmo_installation* installation, int timeout_ms, unsigned flags,
                           char job[VELMO_NAME_SIZE], velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome outcome = checkCall(installation, timeout_ms, flags)) {
      return outcome;
    }
    const Wait wait(timeout_ms, installation->settings.stop);
    const Result<std::string> drawn = drawJob(*installation, isDurable(flags), wait);
    if (!drawn.isOk()) {
      return drawn.fault();
    }
    copyName(job, drawn.value());
    return std::nullopt;
  });
}

velmo_status velmo_find_job(const velmo_installation* installation, const char* directory,
                            const char* key, int timeout_ms, unsigned flags, velmo_job* in_out,
                            velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome outcome = checkCall(installation, timeout_ms, flags)) {
      return outcome;
    }
    JobFileFields wanted;
    if (Outcome outcome = takeJob(in_out, wanted)) {
      return outcome;
    }
    const JobStore store{std::string(textOf(directory)), std::string(textOf(key))};
    if (Outcome outcome = store.check()) {
      return outcome;
    }
    const Wait wait(timeout_ms, installation->settings.stop);
    const Result<FoundJob> found = store.find(wanted, isDurable(flags), wait, [&] {
      return drawStorableJob(*installation, isDurable(flags), wait);
    });
    if (!found.isOk()) {
      return found.fault();
    }
    *in_out = jobOf(found.value());
    return std::nullopt;
  });
}
