#include "tests/backend/people_fixture.h"

namespace quillfold::backend {

void PeopleTest::join(const std::string& user, json info) {
  json request = tokenRequest(user);
  if (!info.contains("email")) info["email"] = user + "@x.example";
  request["user_info"] = std::move(info);
  authorization.clear();
  const json data = post(kTokenPath, request).body().at("data");
  authorization.emplace("Authorization", "Bearer " + data.at("token").get<std::string>());
}

void PeopleTest::follow(const std::string& follower, const std::string& followed) {
  signIn(follower);
  EXPECT_EQ(follow(followed).status, 200);
}

json contactWith(const std::string& id, const std::vector<std::string>& emails,
                 const std::vector<std::string>& phones) {
  json contact = uploadContact(id);
  const json entry = {{"type", "home"}, {"label", "home"}, {"is_primary", 1}};
  contact["email_addresses"] = contact["phone_numbers"] = json::array();
  const auto fill = [&](const char* list, const std::vector<std::string>& values) {
    for (const auto& value : values) {
      contact[list].push_back(entry);
      contact[list].back()["value"] = value;
    }
  };
  fill("email_addresses", emails);
  fill("phone_numbers", phones);
  return contact;
}

std::vector<std::string> each(const json& list, const std::string& pointer) {
  std::vector<std::string> values;
  for (const json& element : list)
    values.push_back(element.at(json::json_pointer(pointer)).get<std::string>());
  return values;
}

}  // namespace quillfold::backend
