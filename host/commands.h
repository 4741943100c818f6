// The commands. Each returns the program's exit status or throws LibraryFailure.
#pragma once

#include "host/host_session.h"

namespace host {

int syncCommand(HostSession& session);
int planCommand(HostSession& session);
int listCommand(HostSession& session);
int showCommand(HostSession& session);
int statusCommand(HostSession& session);
int deferCommand(HostSession& session);
int watchCommand(HostSession& session);

}  // namespace host
