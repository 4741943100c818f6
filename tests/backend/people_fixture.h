// Users who know each other.
#pragma once

#include "platform/json.h"
#include "social/social_records.h"
#include "tests/backend/backend_fixture.h"

namespace quillfold::backend {

inline constexpr const char* kSocialPath = "/api/v1/social/";
inline constexpr const char* kClientPath = "/api/v1/client/";

class PeopleTest : public BackendTest {
 protected:
  // Signs a user in, whose e-mail address is the name at x.example.
  void join(const std::string& user, json info = json::object());
  // GET of a social or client list; what the client takes for the payload.
  json social(const std::string& path) { return get(kSocialPath + path).body(); }
  json recommended(const std::string& path) { return get(kClientPath + path).body()["data"]; }
  Reply follow(const std::string& user) {
    return post(std::string(kSocialPath) + "follow", {{"user_id", user}});
  }
  // Has the users' first one follow the second.
  void follow(const std::string& follower, const std::string& followed);
};

// An upload with nothing but these addresses to be found by.
json contactWith(const std::string& id, const std::vector<std::string>& emails,
                 const std::vector<std::string>& phones = {});
// The values under a key of each element.
std::vector<std::string> each(const json& list, const std::string& pointer);

// What the client's record makes of an answer, as JSON again.
template <typename Record>
json asRead(const json& answer) {
  const auto decoded = NSJSONSerialization::JSONObjectWithData(answer.dump());
  const auto record = Record::initWithDictionary(*decoded->asDictionary());
  return json::parse(*NSJSONSerialization::dataWithJSONObject(record->toDictionary()));
}

}  // namespace quillfold::backend
