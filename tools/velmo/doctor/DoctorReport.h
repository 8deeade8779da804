#ifndef VELMO_DOCTORREPORT_H
#define VELMO_DOCTORREPORT_H

#include <string>
#include <vector>

#include "Finding.h"
#include "JsonLine.h"
#include "Output.h"

namespace velmo::cli {

/// The words of a text in lines of at most `width` columns, each behind `indent` blanks. A longer
/// word has a line for itself. 0: one line. Control characters become question marks.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t width);

/// The findings for people: a line for each, and below a fault its text, its consequence and its
/// repair, which is never wrapped. The last line says how many faults there are.
/// @param output  for the width and the colours
std::string reportText(const std::vector<Finding>& findings, const Output& output);

/// A finding as an object: "check", "looked_at" and "status", which is "ok", "skipped", or that of
/// the fault. A fault also has "fault", "consequence", "repair", "advice" and "look", of which the
/// last three may be null. Others may have a "note".
Json fieldsOf(const Finding& finding);

/// The status of the first fault, or Status::ok.
Status statusOf(const std::vector<Finding>& findings);

}  // namespace velmo::cli

#endif
