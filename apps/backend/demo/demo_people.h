// Invented people, so that the social side of the client has something to show.
#pragma once

#include <string>

#include "apps/backend/store/storage.h"

namespace quillfold::backend {

// Puts a circle of people around a user who has uploaded contacts that have an
// address, once for each user. Every fourth of these contacts, up to four of them,
// turns out to use the application; four strangers join them. All of them share
// some of the user's contacts, follow each other and partly the user, who follows
// two, and each has an event behind and one ahead. Everything but the times follows
// from the contacts and the organization.
void addDemoPeople(Storage& storage, const std::string& userId, double now);

}  // namespace quillfold::backend
