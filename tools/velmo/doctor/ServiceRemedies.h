#ifndef VELMO_SERVICEREMEDIES_H
#define VELMO_SERVICEREMEDIES_H

#include "Fault.h"
#include "Remedy.h"
#include "Site.h"

namespace velmo::cli {

/// Permits reading "modules.xml", or names another one.
Remedy nameModules(const client::Fault& fault, const Site& site);

/// Advice for wrong contents of "modules.xml".
Remedy correctModules(const client::Fault& fault, const Site& site);

/// Advice for an address on which nothing listens.
Remedy lookForListener(const client::Fault& fault, const Site& site);

/// Advice for an address on which the service does not answer.
Remedy lookForOther(const client::Fault& fault, const Site& site);

/// Advice for a host without an address.
Remedy correctHost(const client::Fault& fault, const Site& site);

/// Advice for temporary failures.
Remedy tryAgain(const client::Fault& fault, const Site& site);

}  // namespace velmo::cli

#endif
