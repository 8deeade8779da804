#ifndef VELMO_PRIORITYREMEDIES_H
#define VELMO_PRIORITYREMEDIES_H

#include "Fault.h"
#include "Remedy.h"
#include "Site.h"

namespace velmo::cli {

/// Sets VELMO_HOME or CONF to a directory with a file of priorities.
Remedy nameFiles(const client::Fault& fault, const Site& site);

/// Permits the owner to read the file.
Remedy permitFile(const client::Fault& fault, const Site& site);

/// Renames whatever is at the file's path.
Remedy moveFileAway(const client::Fault& fault, const Site& site);

/// Makes lines that readers skip comments.
Remedy commentSkippedLines(const client::Fault& fault, const Site& site);

/// Comments out each line whose value is not a number.
Remedy commentLinesWithoutNumber(const client::Fault& fault, const Site& site);

/// Appends a class to a file of priorities.
Remedy addClass(const client::Fault& fault, const Site& site);

/// Removes characters that are not allowed in a server's identity.
Remedy correctIdentity(const client::Fault& fault, const Site& site);

}  // namespace velmo::cli

#endif
