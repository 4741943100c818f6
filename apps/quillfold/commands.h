// The commands. Each returns the program's exit status, or throws quillfold::Failure,
// WrongUsage or Interrupted.
#pragma once

#include <span>

namespace host {

class Session;

// What a command takes beside the options of all commands.
enum OptionGroup : unsigned {
  kPage = 1,
  kSearch = 2,
  kProgress = 4,
  kHurry = 8,
  kEventDetails = 16,
};

struct Command {
  // Two words for a command below another one, which stands before it without a `run`.
  const char* name;
  const char* summary;
  // Null without one; in brackets if it may be left out.
  const char* operand;
  // Of OptionGroup.
  unsigned options;
  int (*run)(Session& session);
};

std::span<const Command> allCommands();

// The device's contacts, and what of them is on record.
int syncCommand(Session& session);
int planCommand(Session& session);
int listCommand(Session& session);
int showCommand(Session& session);
int statusCommand(Session& session);
int watchCommand(Session& session);
int deferCommand(Session& session);
int showAccess(Session& session);
int allowAccess(Session& session);
int denyAccess(Session& session);
int searchCommand(Session& session);
int browseCommand(Session& session);

// People.
int inviteCommand(Session& session);
int appUsersCommand(Session& session);
int mightKnowCommand(Session& session);
int followCommand(Session& session);
int unfollowCommand(Session& session);
int followingCommand(Session& session);
int followersCommand(Session& session);
int mutualCommand(Session& session);

// Events.
int createEvent(Session& session);
int showEvent(Session& session);
int changeEvent(Session& session);
int deleteEvent(Session& session);
int eventsCommand(Session& session);
int feedCommand(Session& session);
int upcomingCommand(Session& session);
int forYouCommand(Session& session);

}  // namespace host
