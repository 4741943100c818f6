#include "backend/http/errors.h"
#include "backend/identifiers.h"
#include "backend/resources/resources.h"

namespace quillfold::backend {
namespace {

HttpAnswer userInfo(Context& context, const Request& request) {
  const auto user = context.storage.user(request.userId());
  if (!user) throw HttpError(404, "User not found");
  // The client reads the organization at the top level, so nothing is wrapped.
  return document(200, {{"status", "success"},
                        {"user_id", user->id},
                        {"organization_id", user->organizationId},
                        {"user_info", user->userInfo},
                        {"created_at", isoTime(user->createdAt)},
                        {"updated_at", isoTime(user->updatedAt)}});
}

}  // namespace

void addUserInfo(Router& router, Context& context) {
  router.add("GET", "/api/v1/client/user-info", Access::kBearer,
             [&context](const Request& request) { return userInfo(context, request); });
}

}  // namespace quillfold::backend
