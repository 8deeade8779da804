#ifndef VELMO_COMMANDTEXT_H
#define VELMO_COMMANDTEXT_H

#include <string>
#include <vector>

namespace velmo::cli {

/// The words of a command as one command line.
///
/// One word is the command line itself, unchanged. Several are quoted where the shell needs it, so
/// that it reads the same words; a first word that a shell would take for an assignment or a
/// keyword is quoted too. For a type that no shell runs, they are joined by blanks.
/// @param words  not empty
/// @param type   of the task; empty or "sh": a shell runs it
std::string commandText(const std::vector<std::string>& words, const std::string& type);

}  // namespace velmo::cli

#endif
