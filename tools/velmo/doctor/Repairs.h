#ifndef VELMO_REPAIRS_H
#define VELMO_REPAIRS_H

#include "Fault.h"
#include "Finding.h"
#include "Site.h"

namespace velmo::cli {

/// The check to which a fault belongs, its consequence, and what can be done against it. One table
/// has all faults that velmo doctor can find.
Finding findingOf(const client::Fault& fault, const Site& site);

/// Whether the table has a row for a problem.
bool isKnown(client::Problem problem);

/// The check to which a fault belongs.
Check checkOf(const client::Fault& fault, const client::Settings& settings);

/// Whether nothing can be said about the checks that need what the fault is about.
bool endsLooking(client::Problem problem);

}  // namespace velmo::cli

#endif
