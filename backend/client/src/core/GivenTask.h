#ifndef VELMO_GIVENTASK_H
#define VELMO_GIVENTASK_H

#include <string_view>
#include <vector>

#include "Fault.h"

namespace velmo::client {

/// A task as the caller described it, with the defaults filled in. The texts are the caller's.
struct GivenTask {
  std::string_view priorityClass;
  std::string_view command;
  std::string_view type;         ///< "sh" unless given
  std::string_view adjustment;   ///< empty: none
  std::string_view job;          ///< empty: a new one
  std::string_view subJob;       ///< "0" unless given
  std::string_view information;  ///< empty: none
  int relativePriority = 0;
};

/// Takes the caller's struct, whatever it holds. A size that is wrong is refused.
/// @param task  null is refused
Result<GivenTask> readTask(const velmo_task* task);

/// Everything in a task that neither way of submission can carry: no class, no command, a line feed
/// in one of the texts, "/" or control characters in identifiers.
std::vector<Fault> mistakesIn(const GivenTask& task);

/// The same, and refuses the first mistake.
/// @param task  null is refused
Result<GivenTask> takeTask(const velmo_task* task);

/// A text of the caller: empty if it is null.
inline std::string_view textOf(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

/// Whether a text has neither "/" nor a control character.
bool isPlainText(std::string_view text);

/// Refuses a text that cannot be part of a file's name.
/// @param name  of the argument
Outcome checkIdentifier(const char* name, std::string_view text);

/// Whether a text is well-formed UTF-8, without surrogates and overlong forms.
bool isUtf8(std::string_view text);

}  // namespace velmo::client

#endif
