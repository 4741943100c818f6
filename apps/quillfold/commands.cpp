#include "apps/quillfold/commands.h"

#include <algorithm>

namespace host {

namespace {

constexpr Command kCommands[] = {
    {"sync", "", 0, 0, "upload the contacts that have changed since their last upload",
     syncCommand},
    {"plan", "", 0, 0, "what a sync would upload now; asks no backend", planCommand},
    {"list", "", 0, 0, "what was uploaded, and when", listCommand},
    {"show", "ID", 1, 1, "one contact as the library sees it", showCommand},
    {"status", "", 0, 0, "state, access, counts, files and identifiers", statusCommand},
    {"watch", "", 0, 0,
     "stay, and sync whenever the address book changes; SIGUSR1 stands for\n"
     "                       becoming active, SIGUSR2 for entering the background",
     watchCommand},
    {"defer", "", 0, 0, "register the deferred task, ask for a run, and wait for it", deferCommand},
    {"search", "QUERY", 1, 1, "the contacts that contain every word", searchCommand},
    {"browse", "", 0, 0, "type, and the list narrows with every key", browseCommand},
    {"invite", "", 0, 0, "contacts that others know too", inviteCommand},
    {"app-users", "", 0, 0, "contacts that use the application", appUsersCommand},
    {"might-know", "", 0, 0, "people you might know", mightKnowCommand},
    {"follow", "ID", 1, 1, "follow a user", followCommand},
    {"unfollow", "ID", 1, 1, "follow a user no longer", unfollowCommand},
    {"following", "[ID]", 0, 1, "whom a user follows", followingCommand},
    {"followers", "[ID]", 0, 1, "who follows a user", followersCommand},
    {"mutual", "", 0, 0, "who follows you and is followed by you", mutualCommand},
    {"event", "create|show|change|delete [ID]", 1, 2, "one event", eventCommand},
    {"events", "[ID]", 0, 1, "the events of a user", eventsCommand},
    {"feed", "", 0, 0, "events of those you follow, and your own", feedCommand},
    {"upcoming", "", 0, 0, "events that are still to come", upcomingCommand},
    {"for-you", "", 0, 0, "events chosen for you", forYouCommand},
};

}  // namespace

std::span<const Command> allCommands() {
  return kCommands;
}

const Command* findCommand(const std::string& name) {
  const auto it = std::find_if(std::begin(kCommands), std::end(kCommands),
                               [&name](const Command& command) { return command.name == name; });
  return it == std::end(kCommands) ? nullptr : it;
}

}  // namespace host
