// What the team that runs the backend asks of it, beside the client's own
// requests.
#include <array>
#include <limits>

#include "apps/backend/http/errors.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/validation/shape.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::array kMisbehaviourFields = {
    Field{"path", kFilledString},         Field{"kind", kFilledString},
    Field{"status", kInteger, kOptional}, Field{"milliseconds", kInteger, kOptional},
    Field{"body", kString, kOptional},    Field{"times", kInteger, kOptional},
};
constexpr Shape kMisbehaviourRequest{kMisbehaviourFields, true};

int smallNumber(const json& body, const char* key) {
  const auto number = body.value(key, std::int64_t{0});
  if (number < 0 || number > std::numeric_limits<int>::max()) {
    throw std::invalid_argument(std::string(key) + " is out of range");
  }
  return static_cast<int>(number);
}

Misbehaviour misbehaviourFrom(const json& body) {
  const auto kind = misbehaviourKind(body.at("kind").get<std::string>());
  if (!kind) throw std::invalid_argument("no such kind of misbehaviour");
  Misbehaviour misbehaviour;
  misbehaviour.kind = *kind;
  misbehaviour.status = smallNumber(body, "status");
  misbehaviour.delay = std::chrono::milliseconds(smallNumber(body, "milliseconds"));
  misbehaviour.times = smallNumber(body, "times");
  if (body.contains("body")) misbehaviour.body = body.at("body").get<std::string>();
  checkMisbehaviour(misbehaviour);
  return misbehaviour;
}

HttpAnswer setMisbehaviour(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kMisbehaviourRequest);
  const auto path = body.at("path").get<std::string>();
  try {
    context.misbehaviours.set(path, misbehaviourFrom(body));
  } catch (const std::invalid_argument& error) {
    throw HttpError(400, error.what());
  }
  return success(json::object());
}

HttpAnswer clearMisbehaviour(Context& context, const Request& request) {
  const std::string path = request.query("path");
  if (path.empty()) {
    context.misbehaviours.clearAll();
  } else {
    context.misbehaviours.clear(path);
  }
  return success(json::object());
}

HttpAnswer storedContacts(Context& context, const Request& request) {
  const auto contacts = context.storage.contacts(request.query("user_id"));
  return success({{"count", contacts.size()}, {"contacts", contacts}});
}

}  // namespace

void addDeveloper(Router& router, Context& context) {
  router.add("POST", "/_dev/misbehave", Access::kPublic,
             [&context](const Request& request) { return setMisbehaviour(context, request); });
  router.add("DELETE", "/_dev/misbehave", Access::kPublic,
             [&context](const Request& request) { return clearMisbehaviour(context, request); });
  router.add("GET", "/_dev/contacts", Access::kPublic,
             [&context](const Request& request) { return storedContacts(context, request); });
}

}  // namespace quillfold::backend
