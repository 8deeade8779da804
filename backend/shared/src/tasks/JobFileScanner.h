#ifndef VELMO_JOBFILESCANNER_H
#define VELMO_JOBFILESCANNER_H

#include <string>
#include <string_view>

namespace brix::velmo {

/// The contents of a job file. Texts may be empty.
struct JobFileFields {
  std::string id;
  std::string user;
  std::string name;
  int priority = 0;
};

/// The value at the start of `text`, as scanf's "\"%255[]a-zA-Z0-9 _.,@$%#&*()[{}|/\\^;:-]"
/// captures it: after a double quote, the longest run of characters of that set, truncated to 255.
/// What follows the run does not matter, not even a missing closing quote. The ranges are of bytes,
/// in every locale.
///
/// @return a part of `text`; empty if the quote is missing or no character of the set follows it
std::string_view captureQuoted(std::string_view text);

/// Gathers the fields of one job file from its lines. Touches no file.
class JobFileScanner {
 public:
  /// Takes the next line: `id="..."`, `name="..."`, `user="..."` or `priority="..."` with no blank
  /// in front. Any other line is ignored. If a key has several lines, the last counts.
  /// @param line  never null; a line end and anything else after the value is ignored
  void scanLine(const char* line);

  /// The fields as the lines so far have set them.
  const JobFileFields& fields() const {
    return m_fields;
  }

 private:
  void scanText(std::string_view value, std::string& field);
  void scanPriority(const char* value);

  JobFileFields m_fields;
  std::string m_capture;  // the last value captured, of any text field
};

}  // namespace brix::velmo

#endif
