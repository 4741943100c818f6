#include "apps/quillfold/commands.h"

namespace host {

namespace {

constexpr Command kCommands[] = {
    {"sync", "upload the contacts that have changed since their last upload", nullptr, kProgress,
     syncCommand},
    {"plan", "what a sync would upload now; asks no backend", nullptr, kPage, planCommand},
    {"list", "what was uploaded, and when", nullptr, kPage, listCommand},
    {"show", "one contact as the library sees it", "ID", 0, showCommand},
    {"status", "state, access, counts, files and identifiers; asks whether the backend is well",
     nullptr, 0, statusCommand},
    {"watch",
     "stay, and sync whenever the address book changes; SIGUSR1 stands for becoming active, "
     "SIGUSR2 for entering the background",
     nullptr, kProgress, watchCommand},
    {"defer", "register the deferred task, ask for a run, and wait for it", nullptr, kHurry,
     deferCommand},
    {"access", "whether the address book may be read", nullptr, 0, nullptr},
    {"access show", "what has been decided", nullptr, 0, showAccess},
    {"access allow", "allow it from now on", nullptr, 0, allowAccess},
    {"access deny", "deny it from now on", nullptr, 0, denyAccess},
    {"search", "the contacts that contain every word", "QUERY", kPage | kSearch, searchCommand},
    {"browse", "type, and the list narrows with every key", nullptr, 0, browseCommand},
    {"invite", "contacts that others know too", nullptr, kPage, inviteCommand},
    {"app-users", "contacts that use the application", nullptr, kPage, appUsersCommand},
    {"might-know", "people you might know", nullptr, kPage, mightKnowCommand},
    {"follow", "follow a user", "ID", 0, followCommand},
    {"unfollow", "follow a user no longer", "ID", 0, unfollowCommand},
    {"following", "whom a user follows", "[ID]", kPage, followingCommand},
    {"followers", "who follows a user", "[ID]", kPage, followersCommand},
    {"mutual", "who follows you and is followed by you", nullptr, kPage, mutualCommand},
    {"event", "one event", nullptr, 0, nullptr},
    {"event create", "a new event; takes --title", nullptr, kEventDetails, createEvent},
    {"event show", "the event", "ID", 0, showEvent},
    {"event change", "what the options say of it", "ID", kEventDetails, changeEvent},
    {"event delete", "remove the event", "ID", 0, deleteEvent},
    {"events", "the events of a user", "[ID]", kPage, eventsCommand},
    {"feed", "events of those you follow, and your own", nullptr, kPage, feedCommand},
    {"upcoming", "events that are still to come", nullptr, kPage, upcomingCommand},
    {"for-you", "events chosen for you", nullptr, kPage, forYouCommand},
};

}  // namespace

std::span<const Command> allCommands() {
  return kCommands;
}

}  // namespace host
