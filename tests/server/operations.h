// Every operation of the library that sends a request, and what cases.json says of them.
#pragma once

#include <fstream>

#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "facade/contact_service.h"
#include "foundation/format.h"
#include "foundation/json.h"
#include "recommendations/recommendation_service.h"
#include "social/social_service.h"

namespace quillfold::testing {

// What came, in one line, and the error.
using End = std::function<void(const std::string& result, const ErrorPtr& error)>;

inline Value json(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithData(text).value_or(nullptr);
}
inline std::string written(const Value& value) {
  return NSJSONSerialization::dataWithJSONObject(value).value_or("");
}
inline const Value& cases() {
  static const auto* value = [] {
    std::ifstream file(SERVER_CASES);
    return new Value(json(std::string(std::istreambuf_iterator<char>(file), {})));
  }();
  return *value;
}
// Null where there is none.
inline const Value& at(const Value& value, const std::string& key) {
  static const Value none;
  const Value* found = find(*value.asDictionary(), key);
  return found ? *found : none;
}
inline std::string textAt(const Value& value, const std::string& key) {
  const std::string* text = at(value, key).asString();
  return text ? *text : "";
}

template <typename Result>
std::string shown(const Result& result) {
  if constexpr (std::is_same_v<Result, bool>) {
    return result ? "yes" : "no";
  } else if constexpr (std::is_same_v<Result, std::int64_t>) {
    return std::to_string(result);
  } else {
    if (!result) return "nothing";
    if constexpr (std::is_same_v<Result, OptionalString>) return *result;
    if constexpr (std::is_same_v<Result, std::optional<Value>>) return result->description();
    if constexpr (std::is_same_v<Result, std::optional<Dictionary>>) return description(*result);
    if constexpr (
        requires { result->front()->toDictionary(); } || requires { result->front()->score(); })
      return fmt::format("{} people", result->size());
    // People are not always fit to be written.
    if constexpr (
        requires { result->items()[0]->fullName(); } ||
        requires { result->items()[0]->follower(); })
      return fmt::format("record {} of {}", result->items().size(), result->total());
    else if constexpr (requires { result->toDictionary(); })
      return "record " + description(result->toDictionary());
  }
}

inline auto to(const End& end) {
  return [end](const auto& result, const ErrorPtr& error) { end(shown(result), error); };
}

// By name; of the shared client.
inline std::map<std::string, std::function<void(End)>> calls() {
  const auto api = QFAPIClient::sharedInstance();
  const auto social = QFSocialService::initWithContactService(QFContactService::sharedInstance());
  const auto people = QFRecommendationService::initWithContactService(nullptr);
  const auto user = QFUserInfo::initWithUserId("u", {}, "a@example.com", {});
  const auto event = QFCreateEventRequest::initWithEventType("E", "T", {}, {}, {}, {}, {}, false);
  const auto update = QFUpdateEventRequest::init();
  update->setIsPublic(false);
  const auto health = [=](const End& end) {
    api->checkHealthWithCompletion([end](bool healthy) { end(shown(healthy), nullptr); });
  };
  return {
      {"token", [=](End end) { api->refreshTokenWithCompletionHandler(to(end)); }},
      {"user", [=](End end) { api->getUserInfoWithCompletionHandler(to(end)); }},
      {"health", health},
      {"key", [=](End end) { api->validateAPIKey("KEY-SECRET", "HOST-SECRET", user, to(end)); }},
      {"source", [=](End end) { api->createContactSourceWithName("N", 4, to(end)); }},
      {"upload", [=](End end) { api->syncContacts({}, true, to(end)); }},
      {"get", [=](End end) { api->get("/x", {}, true, to(end)); }},
      {"put", [=](End end) { api->put("/x", Array(), {}, true, to(end)); }},
      {"social", [=](End end) { api->getSocialData("/y", {}, to(end)); }},
      {"invite", [=](End e) { people->getSharedContactsByUsersToInviteWithLimit(-2, to(e)); }},
      {"app", [=](End end) { people->getContactsUsingAppWithLimit(-2, to(end)); }},
      {"know", [=](End end) { people->getUsersYouMightKnowWithLimit(-2, to(end)); }},
      {"follow", [=](End end) { social->followUser("a/b", to(end)); }},
      {"unfollow", [=](End end) { social->unfollowUser("a/b", to(end)); }},
      {"is-following", [=](End end) { social->isFollowingUser("a", to(end)); }},
      {"followers", [=](End end) { social->getFollowersWithUserId({}, -1, 0, to(end)); }},
      {"following", [=](End end) { social->getFollowingWithUserId("u", 5, 20, to(end)); }},
      {"mutual", [=](End end) { social->getMutualFollowsWithSkip(5, 20, to(end)); }},
      {"create", [=](End end) { social->createEvent(event, to(end)); }},
      {"event", [=](End end) { social->getEvent("e", to(end)); }},
      {"update", [=](End end) { social->updateEvent("e", update, to(end)); }},
      {"delete", [=](End end) { social->deleteEvent("e", to(end)); }},
      {"events", [=](End end) { social->getUserEventsWithUserId("u", 1, 2, to(end)); }},
      {"events-of-all", [=](End end) { social->getUserEventsWithUserId({}, 1, 2, to(end)); }},
      {"feed", [=](End end) { social->getFeedWithSkip(1, 2, to(end)); }},
      {"upcoming", [=](End end) { social->getUpcomingEventsWithSkip(1, 2, to(end)); }},
      {"for-you", [=](End end) { social->getForYouFeedWithSkip(1, 2, to(end)); }},
  };
}

struct Operation {
  std::string name;
  // Method and target of its own request, which comes behind those for the token and the user.
  std::string request;
  std::string path;
  // The kind of its reading, and an answer that it takes.
  std::string reading;
  std::string good;
  std::function<void(End)> start;
  Value row;
};

inline std::vector<Operation> everyOperation() {
  std::vector<Operation> operations;
  auto all = calls();
  for (const Value& row : *at(cases(), "operations").asArray()) {
    const std::string name = textAt(row, "name"), request = textAt(row, "request");
    const std::string target = request.substr(request.find('/'));
    operations.push_back({name, request, target.substr(0, target.find('?')), textAt(row, "reading"),
                          written(at(row, "answer")), all.extract(name).mapped(), row});
  }
  EXPECT_TRUE(all.empty()) << all.begin()->first << " has no row";
  return operations;
}

}  // namespace quillfold::testing
