// The upload: which contacts are taken, and what is kept of them.
#include "tests/apps/backend/backend_fixture.h"

namespace quillfold::backend {
namespace {

class ContactsTest : public BackendTest {
 protected:
  void SetUp() override { signIn(); }
};

TEST_F(ContactsTest, TakesBothFormsOfAContact) {
  // A record that was read from an upload: its own nulls, a record's entries.
  json mixed = uploadContact("m");
  mixed["phone_numbers"] = recordContact()["phone_numbers"];
  mixed["addresses"] = json::parse(R"([{"label": "h", "city": null, "is_primary": true}])");
  mixed["social_profiles"] = json::parse(R"([{"platform": "p", "username": "u", "url": null}])");
  mixed["instant_message_addresses"] = json::parse(R"([{"service": "s", "is_primary": false}])");
  std::vector<json> all = {uploadContact("1"), recordContact(), mixed};
  for (const char* left : {"/id", "/source_contact_id", "/contact_section", "/dates/0/date"}) {
    all.push_back(changed(uploadContact("v"), left, ""));
  }
  all.push_back(changed(uploadContact("v"), "/contact_type", "-9223372036854775808"));
  all.push_back(changed(uploadContact("v"), "/display_name", R"("a\u0000b 😀")"));
  const Reply reply = sync(all);
  EXPECT_EQ(reply.status, 200) << reply.text;
  EXPECT_EQ(reply.body()["data"]["processed_count"], all.size());
  EXPECT_EQ(sync({}).body()["data"]["processed_count"], 0);
}

TEST_F(ContactsTest, RefusesWhatBreaksTheForm) {
  json batch = {{"contacts", {uploadContact("good"), uploadContact("x")}},
                {"skip_duplicates", false}};
  expectRefused(
      kSyncPath, batch, "/contacts/1",
      {{"value_error.missing",
        {"/display_name", "/given_name", "/match_string", "/source_id", "/addresses/0/city",
         "/social_profiles/0/url"}},
       {"value_error.any_str.min_length", {"/organization_id=\"\""}},
       {"type_error.none.not_allowed",
        {"/nickname=null", "/contact_section=null", "/dates/0/date=null",
         "/relations/0/name=null"}},
       {"value_error.extra",
        {"/image_data=\"\"", "/addresses/0/emoji=\"x\"", "/instant_message_addresses/0/x=0"}},
       {"type_error.integer",
        {"/contact_type=true", "/contact_type=0.0", "/contact_type=9223372036854775808",
         "/phone_numbers/1/is_primary=2"}},
       {"type_error.bool", {"/dates/0/is_primary=0"}},
       {"type_error.list", {"/tags=[\"a\",1]", "/urls={}"}},
       {"type_error.dict", {"/custom_fields=[]", "/urls/0=\"x\""}}});
  batch["contacts"][1] = recordContact();
  expectRefused(kSyncPath, batch, "/contacts/1",
                {{"value_error.missing", {"/contact_type", "/dates/0/label"}},
                 {"value_error.extra", {"/phone_numbers/0/email_id=\"x\""}},
                 {"type_error.bool", {"/phone_numbers/0/is_primary=\"1\""}}});
  EXPECT_EQ(server().contactCount(), 0u) << "A batch is taken whole or not at all.";
}

TEST_F(ContactsTest, RefusesBatchesOfAnotherShapeAndBoundsTheDetail) {
  for (const char* body : {R"({})", R"({"contacts":[]})", R"({"skip_duplicates":true})",
                           R"({"contacts":{},"skip_duplicates":false})",
                           R"({"contacts":[null],"skip_duplicates":false})"}) {
    EXPECT_EQ(postText(kSyncPath, body).status, 422) << body;
  }
  const Reply many = sync(std::vector<json>(1000, json::object()));
  EXPECT_EQ(many.status, 422);
  EXPECT_EQ(many.body()["detail"].size(), 100u);
}

TEST_F(ContactsTest, StoresEachContactOnceForEachUser) {
  json contact = uploadContact("c1");
  const auto counts = [&](bool skip) {
    const json data = sync({contact}, skip).body()["data"];
    return std::pair(data["processed_count"].get<int>(), data["skipped_count"].get<int>());
  };
  EXPECT_EQ(counts(true), std::pair(1, 0));
  EXPECT_EQ(counts(true), std::pair(0, 1));
  EXPECT_EQ(counts(false), std::pair(1, 0)) << "Nothing is skipped that was not asked to be.";
  contact["phone_numbers"][0]["value"] = "+1 3";
  EXPECT_EQ(counts(true), std::pair(1, 0));
  EXPECT_EQ(server().contactCount(), 1u);
  EXPECT_EQ(server().contacts()[0], contact);

  signIn("u2");
  EXPECT_EQ(counts(true), std::pair(1, 0));
  EXPECT_EQ(server().contactCount(), 2u);
  EXPECT_EQ(server().contactCount("u2"), 1u);

  // Without an identifier of its own a contact is known by its content.
  contact.erase("id");
  contact.erase("source_contact_id");
  EXPECT_EQ(counts(true), std::pair(1, 0));
  EXPECT_EQ(counts(true), std::pair(0, 1));
  EXPECT_EQ(server().contactCount("u2"), 2u);

  authorization.clear();
  EXPECT_EQ(get("/_dev/contacts").body()["data"]["count"], 3);
  EXPECT_EQ(get("/_dev/contacts?user_id=u2").body()["data"]["contacts"], server().contacts("u2"));
}

}  // namespace
}  // namespace quillfold::backend
