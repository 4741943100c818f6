// The commands. Each returns the program's exit status or throws LibraryFailure.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "apps/quillfold/host_session.h"

namespace host {

struct Command {
  const char* name;
  // As the usage text shows them; those in brackets may be left out.
  const char* operands;
  std::size_t leastOperands;
  std::size_t mostOperands;
  const char* summary;
  int (*run)(HostSession& session);
};

std::span<const Command> allCommands();
// Null for an unknown name.
const Command* findCommand(const std::string& name);

int syncCommand(HostSession& session);
int planCommand(HostSession& session);
int listCommand(HostSession& session);
int showCommand(HostSession& session);
int statusCommand(HostSession& session);
int watchCommand(HostSession& session);
int deferCommand(HostSession& session);

int searchCommand(HostSession& session);
int browseCommand(HostSession& session);

int inviteCommand(HostSession& session);
int appUsersCommand(HostSession& session);
int mightKnowCommand(HostSession& session);

int followCommand(HostSession& session);
int unfollowCommand(HostSession& session);
int followingCommand(HostSession& session);
int followersCommand(HostSession& session);
int mutualCommand(HostSession& session);

int eventCommand(HostSession& session);
int eventsCommand(HostSession& session);
int feedCommand(HostSession& session);
int upcomingCommand(HostSession& session);
int forYouCommand(HostSession& session);

}  // namespace host
