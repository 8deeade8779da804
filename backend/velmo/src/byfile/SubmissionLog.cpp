#include "SubmissionLog.h"

#include <cstddef>
#include <cstring>
#include <string>

#include "SystemLog.h"

namespace brix::velmo {

namespace {

constexpr const char* kLogIdentity = "CreateTaskFile";

// The first %s is the subject of the failure, the second its target.
const char* logLineOf(Step step) {
  switch (step) {
    case Step::TakeClass:
      return "Priority type must be given!\n";
    case Step::TakeCommand:
      // Deliberate: says "type" but means the command. Log filters match this text.
      return "Command type must be given!\n";
    case Step::ReadKey:
      return "createTaskFile getenv(%s) is NULL";
    case Step::LoadHomePriorities:
      return "No file in CreateTaskFile::createPriorityMap(), :%s";
    case Step::FindClass:
      return "Velmo unknown priority:%s";
    case Step::FindAdjustment:
      return "Velmo unknown delta priority:%s";
    case Step::WaitForJobLock:
      return "CreateTaskFile::generateJobID exception: %s";
    case Step::TakeJobLock:
      return "CreateTaskFile::generateJobID the jobid file: %s couldn't be locked\n";
    case Step::ParseJobCounter:
      return "Job ID file cannot be parsed\n";
    case Step::WriteJobCounter:
      return "Job ID file cannot be created!\n";
    case Step::ReadServerIdentity:
      return "Exception at adding servername: %s\n";
    case Step::LockSemaphore:
      return "Couldn't lock the semaphore";
    case Step::UnlockSemaphore:
      return "Couldn't unlock the semaphore";
    case Step::GetSegment:
      return "createTaskFile shmget error";
    case Step::AttachSegment:
      return "createTaskFile shmat error";
    case Step::DetachSegment:
      return "createTaskFile shmdt error";
    case Step::WriteTemporaryFile:
      return "File cannot be created: %s\n";
    case Step::FindFreeName:
      return "CreateTaskFile error: %s already existed! (possibly same task ID)\n";
    case Step::MoveIntoQueue:
      return "CreateTaskFile error: couldn't rename file: %s to file %s\n";
  }
  return "";
}

bool isFollowedByErrno(Step step) {
  return step == Step::WriteJobCounter || step == Step::WriteTemporaryFile;
}

std::string filled(const char* format, const std::string& subject, const std::string& target) {
  std::string line = format;
  std::size_t from = 0;
  for (const std::string* text : {&subject, &target}) {
    const std::size_t placeholder = line.find("%s", from);
    if (placeholder == std::string::npos) {
      break;
    }
    line.replace(placeholder, 2, *text);
    from = placeholder + text->size();
  }
  return line;
}

}  // namespace

void log(const Failure& failure) {
  const char* format = logLineOf(failure.step);
  if (std::strstr(format, "%s") == nullptr) {
    imutils::logError(kLogIdentity, format);
  } else {
    imutils::logError(kLogIdentity, filled(format, failure.subject, failure.target).c_str());
  }
  if (isFollowedByErrno(failure.step)) {
    imutils::logErrno(kLogIdentity, failure.error);
  }
}

}  // namespace brix::velmo
