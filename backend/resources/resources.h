// The endpoints, one function and one file for each resource. Each adds its
// routes to the table; the context outlives them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "backend/http/router.h"
#include "backend/misbehaviour.h"
#include "backend/store/storage.h"

namespace quillfold::backend {

// What endpoints work on.
struct Context {
  Storage& storage;
  Misbehaviours& misbehaviours;
  std::function<double()> now;
  std::vector<std::string> apiKeys;
  std::optional<std::int64_t> tokenSeconds;

  // The organization that a key belongs to, the same at every start.
  static std::string organizationOfKey(const std::string& key);
  // The organization of users whose key has not been seen yet.
  std::string defaultOrganization() const;
};

void addHealth(Router& router);                           // GET /health
void addSession(Router& router, Context& context);        // generate-token, validate-key
void addUserInfo(Router& router, Context& context);       // user-info
void addContactSource(Router& router, Context& context);  // contact-source
void addContacts(Router& router, Context& context);       // contacts/sync
void addDeveloper(Router& router, Context& context);      // /_dev

// Returns the user of a bearer token that is good, or throws HttpError 401.
std::string authenticate(Context& context, const std::string& authorization);

}  // namespace quillfold::backend
