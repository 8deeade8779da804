#ifndef VELMO_LOGOUTREMOVAL_H
#define VELMO_LOGOUTREMOVAL_H

#include <sys/types.h>

#include <string>

namespace velmo::client {

/// Whether systemd removes the System V objects of a user who logs out: of users who are not system
/// users, unless its configuration says "RemoveIPC=no".
/// @param root  the directory to which the system's paths are relative; empty: the system's own
bool isRemovedAtLogout(uid_t user, const std::string& root);

}  // namespace velmo::client

#endif
