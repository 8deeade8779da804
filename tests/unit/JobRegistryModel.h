#ifndef VELMO_TEST_JOBREGISTRYMODEL_H
#define VELMO_TEST_JOBREGISTRYMODEL_H

#include <algorithm>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "PlatformJobFile.h"

namespace velmo::test {

/// The time at which the model begins.
constexpr time_t kStart = 1741007469;

/// What a property getter throws that has no priority.
class NoPriority : public std::runtime_error {
 public:
  NoPriority() : std::runtime_error("no priority") {}
};

/// The identifier that is issued as the `number`th, for the model and for the real registry. Some
/// are empty, and some are missing.
inline std::optional<std::string> identifierNumber(int number) {
  if (number % 11 == 3) {
    return std::nullopt;
  }
  return number % 13 == 5 ? "" : "J" + std::to_string(number);
}

/// The priority that is given as the `number`th. Some throw NoPriority.
inline int priorityNumber(int number) {
  if (number % 17 == 9) {
    throw NoPriority();
  }
  return number * 7 - 50;
}

/// An operation that fails for a file.
enum class Refusal { kLook, kRead, kCreate, kTouch, kRemove };
using Refusals = std::set<std::pair<std::string, Refusal>>;

/// A file of the job directory.
struct ModelFile {
  enum class Kind { kText, kDirectory, kDanglingLink };
  Kind kind = Kind::kText;
  std::string text;  // for a directory: the text of the file in it
  time_t modified = 0;
};

/// A job in memory.
struct ModelJob {
  std::string id;
  std::string user;
  std::string name;
  int priority = 0;
  std::string fileName;
  time_t lastUsed = 0;
};

/// What a call returns.
struct ModelAnswer {
  std::optional<ModelJob> job;
  bool wasHeld = false;
};

/// A simple model of the rules of JobManager, for jobs of the user "u" and the name "n". It touches
/// no file: `files` is the job directory.
class Model {
 public:
  Model(std::string directory, unsigned long maxJobs, long maxAge)
      : m_directory(std::move(directory)),
        m_maxJobs(maxJobs == 0 ? 1 : maxJobs),
        m_maxAge(maxAge) {}

  ModelAnswer find(const std::string& key) {
    if (held.count(key) != 0) {
      ModelJob& job = held[key];
      if (m_maxAge != 0) {
        look(job);
      }
      if (m_maxAge == 0 || now - job.lastUsed < m_maxAge) {
        use(job);
        return {job, true};
      }
      held.erase(key);
    }
    makeRoom();
    const std::string path = m_directory + "/" + key;
    const std::optional<time_t> modified = modificationOf(path);
    if (!modified) {
      return create(path, key);
    }
    if (m_maxAge != 0 && now - *modified >= m_maxAge) {
      removeFile(path);
      return create(path, key);
    }
    return read(path, key);
  }

  ModelAnswer create(const std::string& path, const std::string& key) {
    const std::string id = identifierNumber(identifiers++).value_or("");
    const int priority = priorityNumber(priorities++);
    if (held.count(key) != 0) {
      return {};
    }
    held[key] = ModelJob{id, "u", "n", priority, path, now};
    writeFile(path, textOf(held[key]));
    return {held[key]};
  }

  ModelAnswer read(const std::string& path, const std::string& key) {
    if (!isReadable(path)) {
      return create(path, key);
    }
    const ModelFile& file = files[path];
    const PlatformJobFile said(file.kind == ModelFile::Kind::kText ? file.text : "");
    const std::string id = said.id.empty() ? identifierNumber(identifiers++).value_or("") : said.id;
    if (held.count(key) != 0) {
      return {};
    }
    held[key] = ModelJob{id, said.user, said.name, said.priority, path, now};
    use(held[key]);
    return {held[key]};
  }

  void add(const std::string& key, const std::string& id) {
    const auto file = files.find(m_directory + "/" + key);
    if (file == files.end() || file->second.kind != ModelFile::Kind::kDirectory) {
      return;
    }
    if (file->second.text.empty()) {
      file->second.text = textOf(ModelJob{id, "u", "n", 0, "", 0});
      file->second.modified = now;
    }
  }

  time_t now = kStart;
  int identifiers = 0;
  int priorities = 0;
  std::map<std::string, ModelJob> held;
  std::map<std::string, ModelFile> files;  // by path
  Refusals refusals;

 private:
  static std::string textOf(const ModelJob& job) {
    return "id=\"" + job.id + "\"\nuser=\"" + job.user + "\"\nname=\"" + job.name +
           "\"\npriority=\"" + std::to_string(job.priority) + "\"\n";
  }

  bool refuses(const std::string& path, Refusal what) const {
    return refusals.count({path, what}) != 0;
  }

  // Whether the file exists and is not a dangling link.
  bool isThere(const std::string& path) const {
    const auto file = files.find(path);
    return file != files.end() && file->second.kind != ModelFile::Kind::kDanglingLink;
  }

  bool isReadable(const std::string& path) const {
    return isThere(path) && !refuses(path, Refusal::kRead);
  }

  std::optional<time_t> modificationOf(const std::string& path) const {
    if (!isThere(path) || refuses(path, Refusal::kLook)) {
      return std::nullopt;
    }
    return files.at(path).modified;
  }

  void look(ModelJob& job) const {
    job.lastUsed = modificationOf(job.fileName).value_or(job.lastUsed);
  }

  void use(ModelJob& job) {
    if (isThere(job.fileName) && !refuses(job.fileName, Refusal::kTouch)) {
      files[job.fileName].modified = now;
    }
    job.lastUsed = now;
  }

  void writeFile(const std::string& path, const std::string& text) {
    const bool hasParent = path.rfind('/') == m_directory.size();
    if (hasParent && files.count(path) == 0 && !refuses(path, Refusal::kCreate)) {
      files[path] = ModelFile{ModelFile::Kind::kText, text, now};
    }
  }

  void removeFile(const std::string& path) {
    const auto file = files.find(path);
    if (file != files.end() && file->second.kind != ModelFile::Kind::kDirectory &&
        !refuses(path, Refusal::kRemove)) {
      files.erase(file);
    }
  }

  void makeRoom() {
    if (held.size() < m_maxJobs) {
      return;
    }
    if (m_maxAge > 0) {
      sweep();
    }
    while (held.size() >= m_maxJobs) {
      evict();
    }
  }

  void sweep() {
    std::vector<std::string> old;
    for (auto& [key, job] : held) {
      look(job);
      if (now - job.lastUsed > m_maxAge) {
        old.push_back(key);
        removeFile(job.fileName);
      }
    }
    for (const std::string& key : old) {
      held.erase(key);
    }
  }

  // No other process uses the files during a call, so examining each of them once is enough.
  void evict() {
    for (auto& [key, job] : held) {
      look(job);
    }
    held.erase(std::min_element(held.begin(), held.end(), [](const auto& one, const auto& other) {
      return one.second.lastUsed < other.second.lastUsed;
    }));
  }

  std::string m_directory;
  unsigned long m_maxJobs;
  long m_maxAge;
};

}  // namespace velmo::test

#endif
