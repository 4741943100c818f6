#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/resources.h"

namespace quillfold::backend {
namespace {

[[noreturn]] void refuseUnknownUser() {
  throw HttpError(404, "User not found");
}

HttpAnswer userInfo(Context& context, const Request& request) {
  const User user = requestingUser(context, request);
  // The client reads the organization at the top level, so nothing is wrapped.
  return document(200, {{"status", "success"},
                        {"user_id", user.id},
                        {"organization_id", user.organizationId},
                        {"user_info", user.userInfo},
                        {"created_at", isoTime(user.createdAt)},
                        {"updated_at", isoTime(user.updatedAt)}});
}

}  // namespace

User requestingUser(Context& context, const Request& request) {
  auto user = context.storage.user(request.userId());
  if (!user) refuseUnknownUser();
  return *std::move(user);
}

User namedUser(Context& context, const Request& request, const std::string& id) {
  auto user = context.storage.user(id);
  if (!user || user->organizationId != requestingUser(context, request).organizationId) {
    refuseUnknownUser();
  }
  return *std::move(user);
}

User askedUser(Context& context, const Request& request) {
  const std::string id = request.query("user_id");
  return id.empty() ? requestingUser(context, request) : namedUser(context, request, id);
}

void addUserInfo(Router& router, Context& context) {
  router.add("GET", "/api/v1/client/user-info", Access::kBearer,
             [&context](const Request& request) { return userInfo(context, request); });
}

}  // namespace quillfold::backend
