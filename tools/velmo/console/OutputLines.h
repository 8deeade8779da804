#ifndef VELMO_OUTPUTLINES_H
#define VELMO_OUTPUTLINES_H

#include <string>
#include <string_view>

#include "Session.h"

namespace velmo::cli {

/// Collects lines for standard output and writes them in large pieces. A signal ends a write for
/// which the reader has no room.
class OutputLines {
 public:
  explicit OutputLines(Session& session) : m_session(session) {}

  /// @throws OutputClosed
  /// @throws Failure  the output cannot be written, or the user wants to stop
  void add(std::string_view text);

  /// Writes what add() has kept. Called last.
  void flush();

 private:
  Session& m_session;
  std::string m_text{};
};

}  // namespace velmo::cli

#endif
