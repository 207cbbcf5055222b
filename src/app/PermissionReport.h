// How the permissions stand when the program starts, for the log.
#pragma once

#include "platform/Permissions.h"
#include "support/Log.h"

namespace lentora {

/// Logs the states of all permissions, and for each one that is missing what to do. Main thread.
void logPermissionStates(const Permissions& permissions, Log& log);

} // namespace lentora
