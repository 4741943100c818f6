#include <array>

#include "apps/backend/demo/demo_people.h"
#include "apps/backend/http/errors.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/validation/contact_shape.h"

namespace quillfold::backend {
namespace {

constexpr std::array kUploadFields = {
    Field{"contacts", kObjects, Presence::kRequired, contactShape},
    Field{"skip_duplicates", kBoolean},
};
constexpr Shape kUploadRequest{kUploadFields};

HttpAnswer upload(Context& context, const Request& request) {
  const auto body = request.object();
  requireShape(body, kUploadRequest);
  const UploadOutcome outcome = context.storage.storeContacts(
      request.userId(), body.at("contacts"), body.at("skip_duplicates").get<bool>(), context.now());
  if (context.demo) addDemoPeople(context.storage, request.userId(), context.now());
  return success({{"processed_count", outcome.processed}, {"skipped_count", outcome.skipped}});
}

}  // namespace

void addContacts(Router& router, Context& context) {
  router.add("POST", "/api/v1/client/contacts/sync", Access::kBearer,
             [&context](const Request& request) { return upload(context, request); });
}

}  // namespace quillfold::backend
