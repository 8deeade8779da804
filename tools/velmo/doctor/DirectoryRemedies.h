#ifndef VELMO_DIRECTORYREMEDIES_H
#define VELMO_DIRECTORYREMEDIES_H

#include "Fault.h"
#include "Remedy.h"
#include "Site.h"

namespace velmo::cli {

/// Sets a variable to a directory beside the others.
Remedy setVariable(const client::Fault& fault, const Site& site);

/// Sets a variable to an absolute path.
Remedy makeAbsolute(const client::Fault& fault, const Site& site);

/// Sets the variable to the directory beside the others, or creates the missing directory if it is
/// certainly not misspelt.
Remedy createDirectory(const client::Fault& fault, const Site& site);

/// Replaces a file by a directory.
Remedy replaceByDirectory(const client::Fault& fault, const Site& site);

/// Permits the owner to use the directory.
Remedy permitDirectory(const client::Fault& fault, const Site& site);

/// Removes write permission for others.
Remedy closeDirectory(const client::Fault& fault, const Site& site);

/// Sets TMP to a directory of the installation, on the file system of the queue.
Remedy ownTmp(const client::Fault& fault, const Site& site);

/// Deletes tasks that programs left in TMP.
Remedy deleteLeftovers(const client::Fault& fault, const Site& site);

/// Moves what is not a task out of the queue.
Remedy moveOthers(const client::Fault& fault, const Site& site);

/// Sets a umask with which others can read tasks.
Remedy setUmask(const client::Fault& fault, const Site& site);

}  // namespace velmo::cli

#endif
