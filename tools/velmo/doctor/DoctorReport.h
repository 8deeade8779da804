#ifndef VELMO_DOCTORREPORT_H
#define VELMO_DOCTORREPORT_H

#include <string>
#include <vector>

#include "Finding.h"
#include "JsonLine.h"
#include "Output.h"

namespace velmo::cli {

/// The findings for people: a line for each, and below a fault its text, its consequence and its
/// repair, which is never wrapped. The last line names the faults.
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
