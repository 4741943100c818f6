// The endpoints, one function and one file for each resource. Each adds its
// routes to the table; the context outlives them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/backend/http/router.h"
#include "apps/backend/misbehaviour.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {

// What endpoints work on.
struct Context {
  Storage& storage;
  Misbehaviours& misbehaviours;
  std::function<double()> now;
  std::vector<std::string> apiKeys;
  std::optional<std::int64_t> tokenSeconds;
  bool demo = false;  // Whether a user's first upload brings demo people.

  // The organization that a key belongs to, the same at every start.
  static std::string organizationOfKey(const std::string& key);
  // The organization of users whose key has not been seen yet.
  std::string defaultOrganization() const;
};

void addHealth(Router& router);                             // GET /health
void addSession(Router& router, Context& context);          // generate-token, validate-key
void addUserInfo(Router& router, Context& context);         // user-info
void addContactSource(Router& router, Context& context);    // contact-source
void addContacts(Router& router, Context& context);         // contacts/sync
void addRecommendations(Router& router, Context& context);  // contacts to invite, users to know
void addFollows(Router& router, Context& context);          // follow, unfollow, lists of both
void addEvents(Router& router, Context& context);           // events
void addFeeds(Router& router, Context& context);            // feed, upcoming-events, for-you
void addDeveloper(Router& router, Context& context);        // /_dev

// The user of a request, and one that it names. Throw HttpError 404, the latter
// also for a user of another organization.
User requestingUser(Context& context, const Request& request);
User namedUser(Context& context, const Request& request, const std::string& id);
// The one of "user_id" in the query, or the requesting user if it is not there.
User askedUser(Context& context, const Request& request);

// Returns the user of a bearer token that is good, or throws HttpError 401.
std::string authenticate(Context& context, const std::string& authorization);

}  // namespace quillfold::backend
