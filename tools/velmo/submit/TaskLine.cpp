#include "TaskLine.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

#include "Failure.h"
#include "OneLine.h"
#include "Table.h"

namespace velmo::cli {

namespace {

using nlohmann::json;

constexpr std::size_t kLongestShownName = 60;

struct TextField {
  const char* name;
  std::string Task::*text;
};

constexpr std::array<TextField, 7> kTextFields{{{"priority_class", &Task::priorityClass},
                                                {"command", &Task::command},
                                                {"type", &Task::type},
                                                {"adjustment", &Task::adjustment},
                                                {"job", &Task::job},
                                                {"sub_job", &Task::subJob},
                                                {"information", &Task::information}}};

constexpr const char* kNumberField = "relative_priority";

// Fills in a task. Each event returns whether the parser goes on. The first mistake ends it.
class TaskReader : public json::json_sax_t {
 public:
  explicit TaskReader(Task& task) : m_task(task) {}

  const std::string& mistake() const {
    return m_mistake;
  }

  bool start_object(std::size_t /*elements*/) override {
    if (m_isOpen) {
      return wrongType();
    }
    m_isOpen = true;
    return true;
  }
  bool end_object() override {
    return true;
  }

  bool key(string_t& name) override {
    if (std::find(m_seen.begin(), m_seen.end(), name) != m_seen.end()) {
      return refuse("field \"" + shown(name) + "\" is given twice");
    }
    m_seen.push_back(name);
    m_isNumber = name == kNumberField;
    const auto* field = std::find_if(kTextFields.begin(), kTextFields.end(),
                                     [&](const TextField& each) { return name == each.name; });
    m_field = field == kTextFields.end() ? nullptr : field;
    return m_isNumber || m_field != nullptr || refuse("unknown field \"" + shown(name) + "\"");
  }

  bool string(string_t& value) override {
    if (m_field == nullptr) {
      return wrongType();
    }
    m_task.*(m_field->text) = std::move(value);
    return true;
  }

  bool number_integer(number_integer_t value) override {
    if (!m_isNumber) {
      return wrongType();
    }
    if (value < INT_MIN || value > INT_MAX) {
      return outOfRange();
    }
    m_task.relativePriority = static_cast<int>(value);
    return true;
  }
  bool number_unsigned(number_unsigned_t value) override {
    return value <= INT_MAX || !m_isNumber ? number_integer(static_cast<number_integer_t>(value))
                                           : outOfRange();
  }

  bool null() override {
    return wrongType();
  }
  bool boolean(bool /*value*/) override {
    return wrongType();
  }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return wrongType();
  }
  bool binary(binary_t& /*value*/) override {
    return wrongType();
  }
  bool start_array(std::size_t /*elements*/) override {
    return wrongType();
  }
  bool end_array() override {
    return true;  // never called, since an array is refused at its start; the interface needs it
  }

  // Deliberate: the parser's own text is not used, since it repeats a part of the command.
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    return refuse("malformed JSON at byte " + std::to_string(position));
  }

 private:
  static std::string shown(const std::string& name) {
    return cutTo(tools::oneLine(name), kLongestShownName);
  }

  bool refuse(std::string mistake) {
    m_mistake = std::move(mistake);
    return false;
  }

  bool wrongType() {
    return refuse("field \"" + (m_seen.empty() ? std::string() : shown(m_seen.back())) +
                  (m_isNumber ? "\" is not an integer" : "\" is not a string"));
  }

  bool outOfRange() {
    return refuse(std::string("field \"") + kNumberField + "\" is out of range");
  }

  Task& m_task;
  std::string m_mistake;
  std::vector<std::string> m_seen;
  const TextField* m_field = nullptr;
  bool m_isNumber = false;
  bool m_isOpen = false;
};

}  // namespace

bool isJsonObject(std::string_view line) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  constexpr std::string_view kBlanks = " \t";
  const bool isMarked = line.substr(0, kByteOrderMark.size()) == kByteOrderMark;
  const std::size_t brace = line.find_first_not_of(kBlanks, isMarked ? kByteOrderMark.size() : 0);
  if (brace == std::string_view::npos || line[brace] != '{') {
    return false;
  }
  const std::size_t next = line.find_first_not_of(kBlanks, brace + 1);
  return next != std::string_view::npos && (line[next] == '"' || line[next] == '}');
}

Task taskOf(std::string_view line, const Task& defaults) {
  Task task = defaults;
  if (!isJsonObject(line)) {
    task.command = line;
    return task;
  }
  TaskReader reader(task);
  if (!json::sax_parse(line, &reader)) {
    throw Failure(Status::invalidArgument, reader.mistake());
  }
  return task;
}

}  // namespace velmo::cli
