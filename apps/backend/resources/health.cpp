#include "apps/backend/http/errors.h"
#include "apps/backend/resources/resources.h"

namespace quillfold::backend {

void addHealth(Router& router) {
  // The client would judge a "data" entry in the place of the whole, so there is
  // none.
  router.add("GET", "/health", Access::kPublic, [](const Request&) {
    return document(200, {{"status", "success"}});
  });
}

}  // namespace quillfold::backend
