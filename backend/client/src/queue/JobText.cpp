#include "JobText.h"

namespace velmo::client {

namespace {

using brix::velmo::JobFileFields;

std::string line(const std::string& key, const std::string& value) {
  return key + ("=\"" + value) + "\"\n";
}

std::string tagged(const char* tag, const std::string& text) {
  return text.empty() ? text : tag + text;
}

}  // namespace

std::string jobFileText(const JobFileFields& job) {
  std::string text = line("id", job.id);
  if (!job.user.empty()) {
    text += line("user", job.user);
  }
  if (!job.name.empty()) {
    text += line("name", job.name);
  }
  return text + line("priority", std::to_string(job.priority));
}

bool readsBack(const std::string& key, const std::string& value) {
  const std::string piece = line(key, value).substr(0, kJobFilePieceSize - 1);
  return brix::velmo::captureQuoted(piece.substr(key.size() + 1)) == value;
}

Outcome checkStorable(const char* key, const std::string& text) {
  return readsBack(key, text) ? std::nullopt
                              : Outcome(Fault{Problem::ArgumentNotStorable, key, text});
}

std::string jobInformation(const JobFileFields& job) {
  return tagged("#1USE=", job.user) + tagged("#1JNA=", job.name);
}

}  // namespace velmo::client
