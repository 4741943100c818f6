// Single events: made, read, changed and deleted.
#include <array>

#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/resources/social_forms.h"
#include "apps/backend/validation/shape.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::array kNewEventFields = {
    Field{"event_type", kFilledString},
    Field{"title", kFilledString},
    Field{"description", kString | kNull, kOptional},
    Field{"location", kString | kNull, kOptional},
    Field{"start_time", kTime | kNull, kOptional},
    Field{"end_time", kTime | kNull, kOptional},
    Field{"metadata", kObject | kNull, kOptional},
    Field{"is_public", kBoolean},
};
constexpr Shape kNewEvent{kNewEventFields, true};

// What is not there stays as it is, what is null goes. The type never changes.
constexpr std::array kChangeFields = {
    Field{"title", kFilledString, kOptional},      Field{"description", kString | kNull, kOptional},
    Field{"location", kString | kNull, kOptional}, Field{"start_time", kTime | kNull, kOptional},
    Field{"end_time", kTime | kNull, kOptional},   Field{"metadata", kObject | kNull, kOptional},
    Field{"is_public", kBoolean, kOptional},
};
constexpr Shape kChange{kChangeFields, true};

void apply(const json& body, const char* key, std::optional<std::string>& field) {
  if (!body.contains(key)) return;
  field.reset();
  if (body.at(key).is_string()) field = body.at(key).get<std::string>();
}

void apply(const json& body, const char* key, std::optional<double>& field) {
  std::optional<std::string> text;
  apply(body, key, text);
  if (body.contains(key)) field = text ? parseIsoTime(*text) : std::nullopt;
}

void apply(const json& body, Event& event) {
  if (body.contains("title")) event.title = body.at("title").get<std::string>();
  if (body.contains("is_public")) event.isPublic = body.at("is_public").get<bool>();
  if (body.contains("metadata")) event.metadata = body.at("metadata");
  apply(body, "description", event.description);
  apply(body, "location", event.location);
  apply(body, "start_time", event.startTime);
  apply(body, "end_time", event.endTime);
  if (event.startTime && event.endTime && *event.endTime < *event.startTime) {
    throw InvalidRequest(json::array({{{"loc", {"body", "end_time"}},
                                       {"msg", "the event would end before it starts"},
                                       {"type", "value_error.datetime.order"}}}));
  }
}

[[noreturn]] void refuseUnknown() {
  throw HttpError(404, "Event not found");
}

// For users of other organizations the event is not there.
void requireSameOrganization(const User& user, const Event& event) {
  if (event.organizationId != user.organizationId) refuseUnknown();
}

void requireOwner(const User& user, const Event& event) {
  if (event.userId != user.id) throw HttpError(403, "This is the event of someone else");
}

HttpAnswer create(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kNewEvent);
  Event event;
  event.id = randomUuid();
  event.userId = request.userId();
  event.organizationId = requestingUser(context, request).organizationId;
  event.eventType = body.at("event_type").get<std::string>();
  event.createdAt = event.updatedAt = context.now();
  apply(body, event);
  context.storage.addEvent(event);
  return success({{"message", "The event was created"},
                  {"event_id", event.id},
                  {"created", true},
                  {"success", true}});
}

HttpAnswer read(Context& context, const Request& request) {
  const auto event = context.storage.event(request.parameter("id"));
  if (!event) refuseUnknown();
  const User user = requestingUser(context, request);
  requireSameOrganization(user, *event);
  if (!event->isPublic) requireOwner(user, *event);
  return success(eventForm(*event));
}

HttpAnswer change(Context& context, const Request& request) {
  const std::string& id = request.parameter("id");
  const json body = request.object();
  requireShape(body, kChange);
  const User user = requestingUser(context, request);
  const bool found = context.storage.changeEvent(id, [&](Event& event) {
    requireSameOrganization(user, event);
    requireOwner(user, event);
    apply(body, event);
    if (!body.empty()) event.updatedAt = context.now();
  });
  if (!found) refuseUnknown();
  return success({{"message", body.empty() ? "Nothing to change" : "The event was changed"},
                  {"event_id", id},
                  {"updated", !body.empty()},
                  {"success", true}});
}

HttpAnswer remove(Context& context, const Request& request) {
  const std::string& id = request.parameter("id");
  const User user = requestingUser(context, request);
  const bool found = context.storage.deleteEvent(id, [&](const Event& event) {
    requireSameOrganization(user, event);
    requireOwner(user, event);
  });
  if (!found) refuseUnknown();
  return success({{"message", "The event was deleted"},
                  {"event_id", id},
                  {"deleted", true},
                  {"success", true}});
}

}  // namespace

void addEvents(Router& router, Context& context) {
  constexpr const char* kOne = "/api/v1/social/events/{id}";
  router.add("POST", "/api/v1/social/events", Access::kBearer,
             [&context](const Request& request) { return create(context, request); });
  router.add("GET", kOne, Access::kBearer,
             [&context](const Request& request) { return read(context, request); });
  router.add("PUT", kOne, Access::kBearer,
             [&context](const Request& request) { return change(context, request); });
  router.add("DELETE", kOne, Access::kBearer,
             [&context](const Request& request) { return remove(context, request); });
}

}  // namespace quillfold::backend
