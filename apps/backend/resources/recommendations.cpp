// Contacts to invite, contacts who use the application, and users to know. The
// client opens the envelope of each; in it each has its list.
#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/page.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/resources/social_forms.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

HttpAnswer contactsToInvite(Context& context, const Request& request) {
  return success(context.storage.contactsToInvite(request.userId(), listLimit(request)));
}

HttpAnswer appUsers(Context& context, const Request& request) {
  auto list = json::array();
  for (const AppUser& found : context.storage.appUsers(request.userId(), listLimit(request))) {
    // Two identifiers on purpose: the backend's own, and that of the device, by
    // which the client finds the contact.
    const std::string ownName = "contact " + request.userId() + " " + found.sourceContactId;
    list.push_back({{"contact_id", nameBasedUuid(ownName)},
                    {"source_contact_id", found.sourceContactId},
                    {"canonical_contact", personForm(found.user)}});
  }
  return success(list);
}

HttpAnswer mightKnow(Context& context, const Request& request) {
  auto list = json::array();
  for (const User& user : context.storage.mightKnow(request.userId(), listLimit(request)))
    list.push_back(personForm(user));
  return success(list);
}

}  // namespace

void addRecommendations(Router& router, Context& context) {
  router.add("GET", "/api/v1/client/shared-contacts-across-users", Access::kBearer,
             [&context](const Request& request) { return contactsToInvite(context, request); });
  router.add("GET", "/api/v1/client/contacts-app-users", Access::kBearer,
             [&context](const Request& request) { return appUsers(context, request); });
  router.add("GET", "/api/v1/client/users-who-might-know-me", Access::kBearer,
             [&context](const Request& request) { return mightKnow(context, request); });
}

}  // namespace quillfold::backend
