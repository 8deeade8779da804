#include "DoctorReport.h"

#include <fmt/format.h>

#include <algorithm>

#include "OneLine.h"
#include "Wrapped.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kMarkWidth = 7;  // "FAULT" and a gap

std::string markOf(Finding::Kind kind, const Output& output) {
  switch (kind) {
    case Finding::Kind::Ok:
      return output.styled("ok", Style::Good) + "     ";
    case Finding::Kind::Skipped:
      return output.styled("-", Style::Warning) + "      ";
    case Finding::Kind::Fault:
      break;
  }
  return output.styled("FAULT", Style::Bad) + "  ";
}

std::string sentence(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') {
    text.front() = static_cast<char>(text.front() - 'a' + 'A');
  }
  return text + ".";
}

std::string detailsOf(const Finding& finding) {
  std::string text = finding.lookedAt;
  if (finding.kind == Finding::Kind::Skipped) {
    text += (text.empty() ? "not looked at: " : " not looked at: ") + finding.note;
  } else if (!finding.note.empty()) {
    text += ": " + finding.note;
  }
  return text;
}

// A command in a line that can be copied whole.
std::string commandText(const std::string& command) {
  return std::string(kMarkWidth + 2, ' ') + tools::oneLine(command) + "\n";
}

std::string faultText(const Finding& finding, std::size_t width) {
  const Remedy& remedy = finding.remedy;
  std::string text = wrapped(finding.fault, kMarkWidth, width);
  if (!finding.consequence.empty()) {
    text += wrapped(sentence(finding.consequence), kMarkWidth, width);
  }
  if (remedy.command) {
    text += wrapped("Repair:", kMarkWidth, width) + commandText(*remedy.command);
  }
  if (!remedy.advice.empty()) {
    const std::string heading = remedy.command ? "Note: " : "Repair: ";
    text += wrapped(heading + remedy.advice, kMarkWidth, width);
  }
  if (!remedy.look.empty()) {
    text += wrapped("Look:", kMarkWidth, width) + commandText(remedy.look);
  }
  return text;
}

// The faults may have scrolled off the terminal.
std::string summaryOf(const std::vector<Finding>& findings) {
  std::string names;
  std::size_t count = 0;
  for (const Finding& finding : findings) {
    if (finding.kind == Finding::Kind::Fault) {
      names += (names.empty() ? "" : ", ") + nameOf(finding.check);
      ++count;
    }
  }
  if (count == 0) {
    return "nothing found";
  }
  return fmt::format("{} {}: {}", count, count == 1 ? "fault" : "faults", names);
}

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

}  // namespace

std::string reportText(const std::vector<Finding>& findings, const Output& output) {
  const std::size_t width = output.width();
  std::size_t names = 0;
  for (const Finding& finding : findings) {
    names = std::max(names, nameOf(finding.check).size());
  }
  std::string text;
  for (const Finding& finding : findings) {
    const std::string name = nameOf(finding.check);
    const std::size_t column = kMarkWidth + names + 2;
    text += markOf(finding.kind, output) + name + std::string(names - name.size() + 2, ' ') +
            wrapped(detailsOf(finding), column, width).substr(column);
    if (finding.kind == Finding::Kind::Fault) {
      text += faultText(finding, width);
    }
  }
  return text + wrapped(summaryOf(findings), 0, width);
}

Json fieldsOf(const Finding& finding) {
  Json fields{{"check", wordOf(finding.check)}, {"looked_at", textOrNull(finding.lookedAt)}};
  if (finding.kind != Finding::Kind::Fault) {
    fields["status"] = finding.kind == Finding::Kind::Ok ? "ok" : "skipped";
    if (!finding.note.empty()) {
      fields["note"] = finding.note;
    }
    return fields;
  }
  fields["status"] = wordOf(finding.status);
  fields["fault"] = finding.fault;
  fields["consequence"] = textOrNull(finding.consequence);
  fields["repair"] = finding.remedy.command ? Json(*finding.remedy.command) : Json();
  fields["advice"] = textOrNull(finding.remedy.advice);
  fields["look"] = textOrNull(finding.remedy.look);
  return fields;
}

Status statusOf(const std::vector<Finding>& findings) {
  const auto fault = std::find_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.kind == Finding::Kind::Fault;
  });
  return fault != findings.end() ? fault->status : Status::ok;
}

}  // namespace velmo::cli
