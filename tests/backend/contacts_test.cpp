// The upload: which contacts are taken, and what is kept of them.
#include "tests/backend/backend_fixture.h"

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

struct BadContact {
  bool record;
  std::string pointer, value;
  const char* type;
};

TEST_F(ContactsTest, RefusesWhatBreaksTheForm) {
  const BadContact cases[] = {
      {false, "/display_name", "", "value_error.missing"},
      {false, "/given_name", "", "value_error.missing"},
      {false, "/match_string", "", "value_error.missing"},
      {false, "/source_id", "", "value_error.missing"},
      {false, "/organization_id", R"("")", "value_error.any_str.min_length"},
      {false, "/nickname", "null", "type_error.none.not_allowed"},
      {false, "/contact_section", "null", "type_error.none.not_allowed"},
      {false, "/image_data", R"("")", "value_error.extra"},
      {false, "/contact_type", "true", "type_error.integer"},
      {false, "/contact_type", "0.0", "type_error.integer"},
      {false, "/contact_type", "9223372036854775808", "type_error.integer"},
      {false, "/tags", R"(["a",1])", "type_error.list"},
      {false, "/custom_fields", "[]", "type_error.dict"},
      {false, "/urls", "{}", "type_error.list"},
      {false, "/urls/0", R"("x")", "type_error.dict"},
      {false, "/phone_numbers/1/is_primary", "2", "type_error.integer"},
      {false, "/dates/0/is_primary", "0", "type_error.bool"},
      {false, "/dates/0/date", "null", "type_error.none.not_allowed"},
      {false, "/addresses/0/emoji", R"("x")", "value_error.extra"},
      {false, "/addresses/0/city", "", "value_error.missing"},
      {false, "/instant_message_addresses/0/x", R"("x")", "value_error.extra"},
      {false, "/social_profiles/0/url", "", "value_error.missing"},
      {false, "/relations/0/name", "null", "type_error.none.not_allowed"},
      {true, "/contact_type", "", "value_error.missing"},
      {true, "/phone_numbers/0/is_primary", R"("1")", "type_error.bool"},
      {true, "/phone_numbers/0/email_id", R"("x")", "value_error.extra"},
      {true, "/dates/0/label", "", "value_error.missing"},
  };
  for (const BadContact& bad : cases) {
    const json base = bad.record ? recordContact() : uploadContact("x");
    const Reply reply = sync({uploadContact("good"), changed(base, bad.pointer, bad.value)});
    EXPECT_EQ(reply.status, 422) << bad.pointer << bad.value;
    const json detail = reply.body()["detail"];
    ASSERT_EQ(detail.size(), 1u) << bad.pointer << reply.text;
    EXPECT_EQ(faultOf(detail[0]), "/body/contacts/1" + bad.pointer);
    EXPECT_EQ(detail[0]["type"], bad.type) << bad.pointer << bad.value;
  }
  EXPECT_EQ(server().contactCount(), 0u) << "A batch is taken whole or not at all.";
}

TEST_F(ContactsTest, RefusesBatchesOfAnotherShapeAndBoundsTheDetail) {
  const char* bodies[] = {R"({})",
                          R"({"contacts":[]})",
                          R"({"skip_duplicates":true})",
                          R"({"contacts":{},"skip_duplicates":false})",
                          R"({"contacts":[null],"skip_duplicates":false})",
                          R"({"contacts":[],"skip_duplicates":0})"};
  for (const char* body : bodies)
    EXPECT_EQ(postText(kSyncPath, body).status, 422) << body;
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
}

TEST_F(ContactsTest, TheDeveloperSeesWhatCameUp) {
  sync({uploadContact("c1")});
  signIn("u2");
  sync({uploadContact("c2"), uploadContact("c3")});
  authorization.clear();
  EXPECT_EQ(get("/_dev/contacts").body()["data"]["count"], 3);
  const json ofUser = get("/_dev/contacts?user_id=u2").body()["data"];
  EXPECT_EQ(ofUser["contacts"], json({uploadContact("c2"), uploadContact("c3")}));
}

}  // namespace
}  // namespace quillfold::backend
