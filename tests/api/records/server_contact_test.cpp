#include "api/records/server_contact.h"

#include <gtest/gtest.h>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archiver.h"
#include "foundation/json.h"
#include "tests/support/keyed_plist.h"

namespace quillfold {
namespace {

using namespace testing;

// A contact with every field. Each text is the coding key of its field.
constexpr const char* kFull = R"({
  "id": "identifier", "display_name": "displayName", "given_name": "givenName",
    "family_name": "familyName", "name_prefix": "namePrefix", "name_suffix": "nameSuffix",
    "middle_name": "middleName", "previous_family_name": "previousFamilyName",
    "nickname": "nickname", "notes": "notes", "bio": "bio", "location": "location",
    "contact_section": "contactSection", "organization_id": "organizationId",
    "source_id": "sourceId", "source_contact_id": "sourceContactId",
    "match_string": "matchString", "organization_name": "organizationName",
    "department_name": "departmentName", "job_title": "jobTitle", "birthday": "birthday",
    "contact_type": 1, "tags": ["a", "b"], "custom_fields": {"k": "v"},
  "phone_numbers": [{"id": "identifier", "type": "type", "label": "type", "value": "value",
    "is_primary": true, "emoji": "emoji", "phone_id": "phoneId"}],
  "email_addresses": [{"id": "identifier", "type": "type", "label": "type", "value": "value",
    "is_primary": true, "emoji": "emoji", "email_id": "emailId"}],
  "urls": [{"id": "identifier", "type": "type", "label": "type", "value": "value",
    "is_primary": true, "emoji": "emoji", "url_id": "urlId"}],
  "addresses": [{"id": "identifier", "type": "type", "label": "label",
    "street_address": "streetAddress", "extended_address": "extendedAddress", "city": "city",
    "region": "region", "postal_code": "postalCode", "country": "country", "is_primary": true}],
  "dates": [{"id": "identifier", "label": "label", "date": "date", "is_primary": true}],
  "social_profiles": [{"id": "identifier", "platform": "platform", "username": "username",
    "url": "url"}],
  "instant_message_addresses": [{"id": "identifier", "service": "service", "username": "username",
    "user_identifier": "userIdentifier", "type": "type", "is_primary": true}],
  "relations": [{"id": "identifier", "name": "name", "relation_type": "relationType",
    "notes": "notes"}]})";

// The lists by their coding keys: the class of an element, and how many texts it has.
const std::tuple<const char*, const char*, std::size_t> kLists[] = {
    {"phoneNumbers", "QFServerContactPhoneNumber", 6},
    {"emailAddresses", "QFServerContactEmailAddress", 6},
    {"urls", "QFServerContactURLAddress", 6},
    {"socialProfiles", "QFServerContactSocialProfile", 4},
    {"addresses", "QFServerContactAddress", 9},
    {"instantMessageAddresses", "QFServerContactInstantMessage", 5},
    {"relations", "QFServerContactRelation", 4},
    {"dates", "QFServerContactDate", 3},
};

Dictionary json(std::string_view text) {
  return *NSJSONSerialization::JSONObjectWithData(text).value().asDictionary();
}
std::string text(const Dictionary& dictionary) {
  return NSJSONSerialization::dataWithJSONObject(dictionary).value();
}
// The same JSON in the order of the keys.
std::string sorted(std::string_view jsonText) {
  return text(json(jsonText));
}

std::string archived(const NSSecureCodingPtr& record) {
  return KeyedArchiver::archivedDataWithRootObject(record).value();
}
template <typename Record>
auto unarchived(std::string_view bytes, ErrorPtr* error = nullptr) {
  return KeyedUnarchiver::unarchivedObjectOfClass<Record>(bytes, error);
}

TEST(ServerContact, FreshAndFullRecordsHaveExactlyTheirKeys) {
  const auto fresh = QFServerContact::initWithDisplayName("n", "o", "s");
  EXPECT_EQ(text(fresh->toDictionary()), sorted(R"({
    "display_name": "n", "nickname": "", "notes": "", "organization_id": "o", "source_id": "s",
    "phone_numbers": [], "email_addresses": [], "urls": [], "social_profiles": [],
    "addresses": [], "instant_message_addresses": [], "relations": [], "dates": [], "tags": [],
    "custom_fields": {}, "contact_type": 0})"));
  const auto full = QFServerContact::fromDictionary(json(kFull));
  EXPECT_EQ(text(full->toDictionary()), sorted(kFull));
  const auto texts = [](const auto&... fields) { return ((fields.description() + " ") + ...); };
  EXPECT_EQ(
      texts(full->identifier(), full->displayName(), full->givenName(), full->familyName(),
            full->namePrefix(), full->nameSuffix(), full->middleName(), full->previousFamilyName(),
            full->nickname(), full->notes(), full->bio(), full->location(), full->contactSection(),
            full->organizationId(), full->sourceId(), full->sourceContactId(), full->matchString(),
            full->organizationName(), full->departmentName(), full->jobTitle(), full->birthday()),
      "identifier displayName givenName familyName namePrefix nameSuffix middleName "
      "previousFamilyName nickname notes bio location contactSection organizationId sourceId "
      "sourceContactId matchString organizationName departmentName jobTitle birthday ");
}

TEST(ServerContact, EntriesWriteWhatTheyWereGiven) {
  const auto expectWritten = [](const auto& record, const char* expected) {
    EXPECT_EQ(text(record->toDictionary()), sorted(expected));
  };
  const auto phone = QFServerContactPhoneNumber::initWithIdentifier({}, "t", "v", true, {}, {});
  expectWritten(phone, R"({"type":"t","label":"t","value":"v","is_primary":true})");
  expectWritten(QFServerContactEmailAddress::initWithIdentifier({}, {}, {}, false, "e", "m"),
                R"({"emoji":"e","email_id":"m","is_primary":false})");
  expectWritten(QFServerContactURLAddress::initWithIdentifier("i", {}, {}, false, {}, "u"),
                R"({"id":"i","url_id":"u","is_primary":false})");
  using Address = QFServerContactAddress;
  expectWritten(Address::initWithIdentifier("i", "t", "l", "s", "e", "c", "r", "p", "o", true),
                R"({"id":"i","type":"t","label":"l","street_address":"s","extended_address":"e",
                    "city":"c","region":"r","postal_code":"p","country":"o","is_primary":true})");
  expectWritten(QFServerContactDate::initWithIdentifier({}, "l", "d", true),
                R"({"label":"l","date":"d","is_primary":true})");
  expectWritten(QFServerContactSocialProfile::initWithIdentifier("i", "p", "n", "u"),
                R"({"id":"i","platform":"p","username":"n","url":"u"})");
  expectWritten(QFServerContactInstantMessage::initWithIdentifier("i", "s", "n", "u", "t", false),
                R"({"id":"i","service":"s","username":"n","user_identifier":"u","type":"t",
                    "is_primary":false})");
  expectWritten(QFServerContactRelation::initWithIdentifier("i", "n", "r", "o"),
                R"({"id":"i","name":"n","relation_type":"r","notes":"o"})");

  const auto batch = QFServerContactBulkCreate::initWithContacts({}, true);
  expectWritten(batch, R"({"skip_duplicates":true})");
  const auto contact = QFServerContact::initWithDisplayName("n", "o", "s");
  contact->setPhoneNumbers(std::vector{phone, std::shared_ptr<QFServerContactPhoneNumber>()});
  EXPECT_EQ(contact->toDictionary().at("phone_numbers"), (Array{phone->toDictionary()}));
  batch->setContacts(std::vector{contact});
  EXPECT_EQ(batch->toDictionary().at("contacts"), (Array{contact->toDictionary()}));
}

TEST(ServerContact, ReadingTestsWhatItMustAndNothingElse) {
  const auto read = [](const char* from) { return QFServerContact::fromDictionary(json(from)); };
  EXPECT_EQ(text(read("{}")->toDictionary()),
            text(QFServerContact::initWithDisplayName({}, {}, {})->toDictionary()));
  // Lists, custom fields and the type are taken with their types only.
  EXPECT_EQ(text(read(R"({"phone_numbers":{},"dates":"x","tags":{},"custom_fields":[],
                          "contact_type":"1","urls":null})")
                     ->toDictionary()),
            text(read("{}")->toDictionary()));
  EXPECT_EQ(read(R"({"contact_type":1.9})")->contactType(), 1);
  // Texts and the content of containers are kept as they stand.
  const char* odd = R"({"given_name":null,"nickname":null,"notes":7,"id":{"a":[1]},
                        "tags":[1,null],"custom_fields":{"k":[null]}})";
  const Dictionary kept = read(odd)->toDictionary();
  for (const auto& [key, value] : json(odd))
    EXPECT_EQ(kept.at(key), value) << key;

  const Dictionary entry = json(R"({"type":"home","label":"work","value":"1","is_primary":"1"})");
  EXPECT_EQ(QFServerContactPhoneNumber::fromDictionary(entry)->label(), "home");
  EXPECT_EQ(QFServerContactEmailAddress::fromDictionary(entry)->label(), "home");
  EXPECT_EQ(QFServerContactURLAddress::fromDictionary(entry)->label(), "home");
  EXPECT_EQ(QFServerContactAddress::fromDictionary(entry)->label(), "work");
  EXPECT_TRUE(QFServerContactAddress::fromDictionary(entry)->isPrimary());
}

// The texts of an archived record, each of which has the name of its key.
std::size_t textsNamedByTheirKeys(const Dictionary& record) {
  std::size_t count = 0;
  for (const auto& [key, value] : record) {
    if (key == "$class" || !value.isString()) continue;
    EXPECT_EQ(*value.asString(), key);
    ++count;
  }
  return count;
}

TEST(ServerContact, AnotherReaderFindsTheCodingKeys) {
  const auto contact = QFServerContact::fromDictionary(json(kFull));
  contact->phoneNumbers()->front()->setLabel("label");
  contact->emailAddresses()->front()->setLabel("label");
  contact->urls()->front()->setLabel("label");
  const auto batch = QFServerContactBulkCreate::initWithContacts(std::vector{contact}, true);
  EXPECT_TRUE(QFServerContactBulkCreate::supportsSecureCoding());
  const std::string bytes = archived(batch);

  const Dictionary root = *unarchivedRoot(bytes).asDictionary();
  EXPECT_EQ(root.size(), 3u);
  EXPECT_EQ(root.at("$class"), "QFServerContactBulkCreate");
  EXPECT_EQ(root.at("skipDuplicates"), true);
  const auto elements = [](const Dictionary& record, const char* key) {
    EXPECT_EQ(record.at(key).asDictionary()->at("$class"), "NSArray");
    return *record.at(key).asDictionary()->at("NS.objects").asArray();
  };
  const Dictionary view = *elements(root, "contacts").at(0).asDictionary();
  EXPECT_EQ(view.at("$class"), "QFServerContact");
  EXPECT_EQ(view.size(), 33u);
  EXPECT_EQ(textsNamedByTheirKeys(view), 21u);
  EXPECT_EQ(view.at("contactType"), 1);
  EXPECT_EQ(elements(view, "tags"), (Array{"a", "b"}));
  EXPECT_EQ(view.at("customFields").asDictionary()->at("NS.keys"), Array{"k"});
  for (const auto& [key, className, texts] : kLists) {
    const Dictionary record = *elements(view, key).at(0).asDictionary();
    EXPECT_EQ(record.at("$class"), className);
    EXPECT_EQ(textsNamedByTheirKeys(record), texts) << key;
    EXPECT_EQ(record.size(), texts + 1 + (find(record, "isPrimary") != nullptr)) << key;
  }

  const auto again = unarchived<QFServerContactBulkCreate>(bytes);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->toDictionary(), batch->toDictionary());
  EXPECT_EQ(again->contacts()->front()->phoneNumbers()->front()->label(), "label");
}

TEST(ServerContact, AnArchiveWithoutKeysGivesTheDefaults) {
  const auto empty = [](const char* name) {
    return archiveOf({dictionaryOf({{"$class", uidOf(2)}}), classOf(name)}, 1);
  };
  const auto contact = unarchived<QFServerContact>(empty("QFServerContact"));
  ASSERT_TRUE(contact);
  EXPECT_EQ(contact->toDictionary(), QFServerContact::fromDictionary({})->toDictionary());
  EXPECT_TRUE(contact->givenName().isAbsent() && contact->nickname() == "");
  const auto batch = unarchived<QFServerContactBulkCreate>(empty("QFServerContactBulkCreate"));
  EXPECT_TRUE(batch && !batch->contacts() && !batch->skipDuplicates());
}

TEST(ServerContact, AnArchiveWithAClassOutsideTheSetIsRefused) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"given_name": null})", "NSNull"},
      {R"({"nickname": 1})", "NSNumber"},
      {R"({"tags": ["a", 1]})", "NSNumber"},
      {R"({"tags": [{}]})", "NSDictionary"},
      {R"({"custom_fields": {"a": {"b": null}}})", "NSNull"},
      {R"({"custom_fields": {"a": ["b"]}})", "NSArray"},
      {R"({"phone_numbers": [{"value": 1}]})", "NSNumber"},
      {R"({"custom_fields": {"a": {"b": "c"}}, "tags": [["d"]]})", nullptr},
  };
  for (const auto& [from, refused] : cases) {
    const auto contact = QFServerContact::fromDictionary(json(from));
    ErrorPtr error;
    const auto read = unarchived<QFServerContact>(archived(contact), &error);
    EXPECT_EQ(read == nullptr, refused != nullptr) << from;
    if (!error) continue;
    EXPECT_EQ(error->code(), 4864);
    EXPECT_NE(error->localizedDescription().find(refused), std::string::npos) << from;
  }
}

}  // namespace
}  // namespace quillfold
