// The record of a contact source, and the calls that register one and upload.
#include "facade/contact_service.h"
#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

using namespace std::string_literals;

class ContactSourceTest : public ApiTest {
 protected:
  Outcome<QFContactSourcePtr> create() {
    return run<QFContactSourcePtr>(
        [this](auto done) { client->createContactSourceWithName("Mine", 4, done); });
  }
  Outcome<std::int64_t> upload(const QFContactList& contacts) {
    return run<std::int64_t>([&](auto done) { client->syncContacts(contacts, false, done); });
  }
};

TEST_F(ContactSourceTest, DictionaryForms) {
  Dictionary given = *json(R"({"id":"I","name":null,"source_type":"CSV","organization_id":null,
      "canonical_contact_id":"C","is_active":1,"last_sync_at":12.5,"sync_error":7,
      "credentials":"{\"c\":1}","settings":{"a":[1]},"source_metadata":"[1]",
      "created_at":"2024-05-01T12:00:00.250Z","updated_at":"2024-05-01T12:00:00Z"})")
                          .asDictionary();
  const auto source = QFContactSource::contactSourceFromDictionary(given);
  source->setSourceIdentifier("lost");
  EXPECT_EQ(source->credentials(), (Dictionary{{"c", 1}}));
  EXPECT_EQ(source->settings(), (Dictionary{{"a", Array{1}}}));
  EXPECT_EQ(source->sourceMetadata(), std::nullopt);
  // Updated when the record was made: without milliseconds it is no date.
  expectObject(source->toDictionary(), R"({"id":"I","name":null,"source_type":"csv",
      "organization_id":null,"canonical_contact_id":"C","last_sync_at":12.5,"sync_error":7,
      "is_active":true,"credentials":"{\"c\":1}","settings":"{\"a\":[1]}",
      "source_metadata":"[1]","created_at":1714564800.25,"updated_at":1700000000})");
  const auto sparse = QFContactSource::contactSourceFromDictionary(
      *json(R"({"id":1,"name":"n","source_type":7,"settings":"{no","source_metadata":5,
          "last_sync_at":"2024-05-01T12:00:00.500Z","created_at":null})")
           .asDictionary());
  EXPECT_FALSE(sparse->credentials() || sparse->settings());
  expectObject(sparse->toDictionary(), R"({"id":1,"name":"n","source_type":"other",
      "organization_id":"","canonical_contact_id":"","last_sync_at":1714564800.5,
      "is_active":false,"settings":"{no","created_at":1700000000,"updated_at":1700000000})");
  source->setSettings(Dictionary{{"d", Data("x")}});
  EXPECT_EQ(source->settingsJSON(), std::nullopt);
  EXPECT_TRUE(
      platform.log->lines().back().starts_with("Error serializing settings: Error Domain="));
  std::string types;
  for (std::int64_t type = -1; type <= 5; ++type) {
    const auto made = QFContactSource::initWithId("i", "n", type, {}, {});
    types += made->sourceType() + (made->isActive() ? " " : "!");
  }
  EXPECT_EQ(types, "other google outlook csv api device other ");
  for (const char* key : {"id", "name", "source_type"}) {
    given.erase(key);
    EXPECT_EQ(QFContactSource::contactSourceFromDictionary(given), nullptr) << key;
    given[key] = "csv";
  }
}

TEST_F(ContactSourceTest, RegistrationSendsTheDeviceAndReadsTheAnswer) {
  platform.contacts->status = CNAuthorizationStatusRestricted;
  answers[kSourcePath] = {201, R"({"data":{"id":9,"source_type":"google","is_active":1,
      "created_at":"2024-05-01T12:00:00Z","updated_at":"2024-05-01T14:00:00.500+02:00",
      "last_sync_at":"2024-05-01T12:00:00.5Z","source_metadata":"{\"a\":1,\"device_id\":\"theirs\"}","settings":"[1]"}})"};
  const QFContactSourcePtr source = create().result;
  EXPECT_EQ(platform.defaults->synchronizations, 1);
  const std::string settings =
      R"({"contact_authorization_status":"restricted","device_info":{"device_id":"D",)"
      R"("device_model":"iPhone","os_version":"7.1","platform":"iOS"}})";
  expectObject(platform.sessions->last(kSourcePath)->json(),
               R"({"organization_user_id":"stored-user","source_data":{"name":"Mine",
      "source_type":"device","is_active":true,"identifier":"device_D","organization_id":"ORG",
      "settings":)" +
                   settings + "}}");
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(source->sourceIdentifier(), "device_D");
  EXPECT_EQ(source->sourceMetadata(), (Dictionary{{"a", 1}, {"device_id", "D"}}));
  EXPECT_EQ(source->settingsJSON(), settings);
  source->setSettings({});
  source->setSourceMetadata({});
  // The server's "google" counts as none, a date without a fraction as unreadable.
  expectObject(source->toDictionary(), R"({"id":9,"name":"Mine","source_type":"device",
      "organization_id":"ORG","is_active":true,"canonical_contact_id":"U","created_at":1700000000,
      "updated_at":1714564800.5,"last_sync_at":1714564800.5})");
  // What the server says of the source goes before what is known here.
  const char* const own = R"({"id":null,"name":"N","source_type":"other","is_active":false,
      "organization_id":"SO","canonical_contact_id":"SC","created_at":5,"updated_at":6,
      "last_sync_at":7,"settings":"{\"a\":1}"})";
  answers[kSourcePath] = {
      201, R"({"data":{"id":null,"name":"N","organization_id":"SO","canonical_contact_id":"SC",
      "identifier":"SI","created_at":5,"updated_at":6,"last_sync_at":7,"settings":{"a":1}}})"};
  const QFContactSourcePtr told = create().result;
  EXPECT_EQ(told->sourceIdentifier(), "SI");
  told->setSourceMetadata({});
  expectObject(told->toDictionary(), own);
  EXPECT_EQ(platform.defaults->stringForKey(defaults_keys::kSourceId), "9") << "null is not kept";
}

TEST_F(ContactSourceTest, WhatIsMissingBeforeAnUploadEndsIt) {
  const auto expectEnds = [this](const std::string& created, const std::string& uploaded) {
    const auto creation = create();
    const auto sync = upload({QFContact::initWithIdentifier("c")});
    EXPECT_EQ(creation.end(), created);
    EXPECT_EQ(sync.end(), uploaded);
    EXPECT_TRUE(creation.place == Place::MainQueue && sync.place == Place::MainQueue);
    EXPECT_TRUE(creation.result == nullptr && sync.result == 0);
  };
  answers[kTokenPath] = {401, ""};
  expectEnds("5 Unauthorized request", "5 Unauthorized request");
  EXPECT_EQ(platform.sessions->tasks.size(), 2u) << "a refused token is not asked for twice";
  answers.clear();
  // Reads alone, but is nested too deeply inside a request.
  const std::string deep = std::string(511, '[') + std::string(511, ']');
  answers[kUserPath] = {200, R"({"organization_id":)" + deep + "}"};
  platform.defaults->setObject("SAVED", defaults_keys::kSourceId);
  expectEnds(kUnreadable, kUnreadable);
  answers.clear();
  platform.defaults->removeObjectForKey(defaults_keys::kSourceId);
  platform.defaults->removeObjectForKey(defaults_keys::kUserId);
  expectEnds(kUnreadable, "3 Server error 500: ContactService not connected to APIClient");
  EXPECT_FALSE(platform.defaults->objectForKey(defaults_keys::kSourceId));
  EXPECT_EQ(platform.sessions->count(kSourcePath) + platform.sessions->count(kSyncPath), 0u);
}

TEST_F(ContactSourceTest, ADuplicateFallsBackToWhatTheDeviceKnows) {
  client->setContactService(QFContactService::sharedInstance());
  platform.log->clear();
  Outcome<QFContactSourcePtr> made;
  client->getExistingContactSourceWithSourceType(QFSourceTypeCSV, made.capture());
  const std::string id = made.result->identifier().description();
  EXPECT_EQ(id.size(), 36u);
  EXPECT_EQ(made.result->organizationId(), "");
  platform.defaults->setObject("HOSTORG", defaults_keys::kOrganizationId);
  answers[kSourcePath] = {500, "ERROR: duplicate key value violates unique constraint \"x\""};
  const auto found = create();
  EXPECT_EQ(found.place, Place::Session);
  EXPECT_EQ(found.result->sourceIdentifier(), id);
  expectObject(found.result->toDictionary(), R"({"id":")" + id + R"(","name":"Device Contacts",
      "source_type":"device","organization_id":"HOSTORG","is_active":true,
      "canonical_contact_id":"U","created_at":1700000000,"updated_at":1700000000})");
  EXPECT_EQ(platform.log->lines(),
            (std::vector{"✅ Created and saved new source ID: " + id,
                         "Server response: " + answers[kSourcePath].second,
                         "Contact source appears to already exist"s, "Found saved source ID: " + id,
                         "✅ Using existing saved source ID: " + id}));
  answers[kSourcePath] = {500, "contact_sources_organization_id_canonical_contact_id_source_key"};
  EXPECT_EQ(create().end(), "ok");
  answers[kSourcePath].first = 501;
  EXPECT_EQ(create().end().substr(0, 18), "3 Server error 501");
  platform.contacts->status = CNAuthorizationStatusNotDetermined;
  answers[kSourcePath] = {500, "\xff duplicate key value violates unique constraint"};
  EXPECT_EQ(create().end(), "3 Server error 500: Server error") << "words count only in a text";
  EXPECT_TRUE(platform.log->contains("Server response: (null)"));
  for (const char* word : {"not_determined", "restricted", "denied", "authorized"}) {
    create();
    EXPECT_NE(platform.sessions->last(kSourcePath)
                  ->json()
                  .description()
                  .find("contact_authorization_status: \"" + std::string(word) + '"'),
              std::string::npos);
    ++platform.contacts->status;
  }
}

TEST_F(ContactSourceTest, UploadsUnderAnIdentifierOfItsOwnAndReadsTheFaults) {
  client->setContactService(QFContactService::sharedInstance());
  const auto contact = QFContact::initWithIdentifier("c1");
  contact->setNotes(std::string(2000, 'n'));
  EXPECT_EQ(upload({contact, contact}).result, 2);
  EXPECT_EQ(platform.defaults->synchronizations, 2) << "when it is made up, and when it is used";
  const std::string id = *platform.defaults->stringForKey(defaults_keys::kSourceId);
  const FakeTask& task = *platform.sessions->last(kSyncPath);
  const Value sent = contact->toServerContactWithOrganizationId("ORG", id);
  EXPECT_EQ(task.json(),
            Value(Dictionary{{"contacts", Array{sent, sent}}, {"skip_duplicates", false}}));
  EXPECT_TRUE(platform.log->contains("Retrieved source ID for sync: " + id));
  EXPECT_TRUE(platform.log->contains("Sample contact data: " + sent.description()));
  EXPECT_TRUE(
      platform.log->contains("Syncing contacts with request structure (first 1000 chars): " +
                             std::string(task.request().httpBody->bytes().substr(0, 1000))));
  const std::pair<const char*, const char*> rows[] = {
      {R"({"detail":[{"loc":["body",0,"id"],"msg":"bad","type":"t"},"x",{},{"msg":"m"}]})",
       "Validation error: body.0.id: bad: t\nm"},
      {R"({"detail":[]})", "Validation error: "},
      {R"({"detail":[{"loc":"l","type":null}]})", "Validation error: <null>"},
      {R"({"detail":"x"})", "x"},
  };
  answers[kSyncPath] = {400, rows[1].first};
  EXPECT_EQ(upload({}).end(), "3 Server error 400: Error with data: {detail: []}");
  for (const auto& [body, text] : rows) {
    answers[kSyncPath] = {422, body};
    const auto outcome = upload({});
    EXPECT_EQ(outcome.end(), std::string("3 Server error 422: ") + text);
    EXPECT_EQ(outcome.result, 0);
  }
  EXPECT_TRUE(platform.log->contains("Validation errors:\nbody.0.id: bad: t\nm"));
}

}  // namespace
}  // namespace quillfold::testing
