// The upload: which contacts are taken, and what is kept of them.
#include "api/records/server_contact.h"
#include "tests/apps/backend/backend_fixture.h"
#include "tests/model/model_fixture.h"

namespace quillfold::backend {
namespace {

// As a record of the public surface writes it.
json recordContact() {
  return json::parse(R"({
    "display_name": "Bo", "nickname": "", "notes": "", "organization_id": "o1", "source_id": "s1",
    "contact_type": 1, "tags": ["t"], "custom_fields": {"any": [1, null]},
    "dates": [{"label": "d", "date": "2001-01-01", "is_primary": true}],
    "phone_numbers": [{"id": "1", "type": "home", "label": "home", "value": "1",
      "is_primary": true, "emoji": "x", "phone_id": "p"}],
    "email_addresses": [{"type": "h", "label": "h", "value": "v", "is_primary": false,
      "email_id": "e"}],
    "urls": [{"type": "h", "label": "h", "value": "v", "is_primary": false, "url_id": "u"}],
    "addresses": [{"label": "home", "is_primary": false}, {"is_primary": false}],
    "social_profiles": [{"id": "1", "platform": "p"}],
    "instant_message_addresses": [{"service": "s", "user_identifier": "i", "type": "t",
      "is_primary": false}],
    "relations": [{"id": "1", "name": "n", "relation_type": "r"}]})");
}

class ContactsTest : public BackendTest {
 protected:
  void SetUp() override { signIn(); }
};

TEST_F(ContactsTest, TakesBothFormsOfAContact) {
  const json upload = uploadContact("v");  // Installs the platform, too.
  const auto bare = QFContact::initWithIdentifier("bare");
  const auto fresh = QFServerContact::initWithDisplayName("Bo", "o", "s");
  std::vector<json> all = {
      upload, recordContact(),
      json::parse(testing::compact(bare->toServerContactWithOrganizationId("o", "s"))),
      json::parse(testing::compact(fresh->toDictionary()))};
  // What was read from an upload keeps the upload's nulls, and has a record's entries.
  for (const json& each : {upload, recordContact()}) {
    const Value read = testing::parsed(each.dump());
    const auto record = QFServerContact::fromDictionary(*read.asDictionary());
    all.push_back(json::parse(testing::compact(record->toDictionary())));
  }
  for (const char* left : {"/id", "/source_contact_id", "/contact_section", "/dates/0/date"}) {
    all.push_back(changed(upload, left, ""));
  }
  all.push_back(changed(upload, "/contact_type", "-9223372036854775808"));
  all.push_back(changed(upload, "/display_name", R"("a\u0000b 😀")"));
  const Reply reply = sync(all);
  EXPECT_EQ(reply.status, 200) << reply.text;
  EXPECT_EQ(reply.body()["data"]["processed_count"], all.size());
  EXPECT_EQ(server().contactCount(), 4u) << "The two forms of one contact are one contact.";
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
  const auto counts = [&](bool skip) { return sync({contact}, skip).text; };
  const std::string stored =
      R"({"data":{"processed_count":1,"skipped_count":0},"status":"success"})";
  const std::string skipped =
      R"({"data":{"processed_count":0,"skipped_count":1},"status":"success"})";
  EXPECT_EQ(counts(true), stored);
  EXPECT_EQ(counts(true), skipped);
  EXPECT_EQ(counts(false), stored) << "Nothing is skipped that was not asked to be.";
  contact["phone_numbers"][0]["value"] = "+1 3";
  EXPECT_EQ(counts(true), stored);
  EXPECT_EQ(server().contacts(), std::vector{contact});
  signIn("u2");
  EXPECT_EQ(counts(true), stored);
  EXPECT_EQ(server().contactCount(), 2u);

  // Without an identifier of its own a contact is known by its content.
  contact.erase("id");
  contact.erase("source_contact_id");
  EXPECT_EQ(counts(true), stored);
  EXPECT_EQ(counts(true), skipped);
  EXPECT_EQ(server().contactCount("u2"), 2u);
  authorization.clear();
  EXPECT_EQ(get("/_dev/contacts").body()["data"]["count"], 3);
  EXPECT_EQ(get("/_dev/contacts?user_id=u2").body()["data"]["contacts"], server().contacts("u2"));
}

}  // namespace
}  // namespace quillfold::backend
