// Lists of events.
#include "apps/backend/resources/page.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/resources/social_forms.h"

namespace quillfold::backend {
namespace {

HttpAnswer eventsOf(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  const User user = askedUser(context, request);
  return pageAnswer(context.storage.eventsOf(user.id, request.userId(), range), range, eventForm);
}

HttpAnswer feed(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  return pageAnswer(context.storage.feed(request.userId(), range), range, eventForm);
}

HttpAnswer upcomingEvents(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  return pageAnswer(context.storage.upcomingEvents(request.userId(), context.now(), range), range,
                    eventForm);
}

HttpAnswer forYou(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  return pageAnswer(context.storage.eventsForYou(request.userId(), range), range, eventForm);
}

}  // namespace

void addFeeds(Router& router, Context& context) {
  router.add("GET", "/api/v1/social/events", Access::kBearer,
             [&context](const Request& request) { return eventsOf(context, request); });
  router.add("GET", "/api/v1/social/feed", Access::kBearer,
             [&context](const Request& request) { return feed(context, request); });
  router.add("GET", "/api/v1/social/upcoming-events", Access::kBearer,
             [&context](const Request& request) { return upcomingEvents(context, request); });
  router.add("GET", "/api/v1/social/for-you", Access::kBearer,
             [&context](const Request& request) { return forYou(context, request); });
}

}  // namespace quillfold::backend
