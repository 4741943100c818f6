#include "api/server_contact.h"

#include <gtest/gtest.h>

#include "platform/archive/keyed_archive.h"
#include "platform/archive/keyed_archiver.h"
#include "platform/json.h"
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
  "instant_message_addresses": [{"id": "identifier", "service": "service",
    "username": "username", "user_identifier": "userIdentifier", "type": "type",
    "is_primary": true}],
  "relations": [{"id": "identifier", "name": "name", "relation_type": "relationType",
    "notes": "notes"}]})";

// The lists of records by their coding keys, with their classes and how many
// texts an element has.
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

TEST(ServerContact, FreshSparseAndFullRecordsHaveExactlyTheirKeys) {
  const auto fresh = QFServerContact::initWithDisplayName("n", "o", "s");
  EXPECT_EQ(text(fresh->toDictionary()), sorted(R"({
    "display_name": "n", "nickname": "", "notes": "", "organization_id": "o", "source_id": "s",
    "phone_numbers": [], "email_addresses": [], "urls": [], "social_profiles": [],
    "addresses": [], "instant_message_addresses": [], "relations": [], "dates": [], "tags": [],
    "custom_fields": {}, "contact_type": 0})"));
  EXPECT_EQ(QFServerContact::fromDictionary(fresh->toDictionary())->toDictionary(),
            fresh->toDictionary());
  EXPECT_EQ(text(QFServerContact::fromDictionary(json(kFull))->toDictionary()), sorted(kFull));

  fresh->setOrganizationId({});
  fresh->setNickname({});
  fresh->setUrls({});
  fresh->setTags({});
  fresh->setCustomFields({});
  const Dictionary less = fresh->toDictionary();
  EXPECT_EQ(less.size(), 11u);
  for (const char* key : {"organization_id", "nickname", "urls", "tags", "custom_fields"})
    EXPECT_EQ(find(less, key), nullptr) << key;
}

TEST(ServerContact, EntriesWriteWhatTheyWereGiven) {
  const auto phone = QFServerContactPhoneNumber::initWithIdentifier({}, "t", "v", true, {}, {});
  const auto email = QFServerContactEmailAddress::initWithIdentifier({}, {}, {}, false, "e", "m");
  const auto url = QFServerContactURLAddress::initWithIdentifier("i", {}, {}, false, {}, "u");
  const auto none =
      QFServerContactAddress::initWithIdentifier({}, {}, {}, {}, {}, {}, {}, {}, {}, false);
  const auto address =
      QFServerContactAddress::initWithIdentifier("i", "t", "l", "s", "e", "c", "r", "p", "o", true);
  const auto date = QFServerContactDate::initWithIdentifier({}, "l", "d", true);
  const auto profile = QFServerContactSocialProfile::initWithIdentifier("i", "p", "n", "u");
  const auto chat =
      QFServerContactInstantMessage::initWithIdentifier("i", "s", "n", "u", "t", false);
  const auto relation = QFServerContactRelation::initWithIdentifier("i", "n", "r", "o");
  const std::pair<Dictionary, const char*> cases[] = {
      {phone->toDictionary(), R"({"type":"t","label":"t","value":"v","is_primary":true})"},
      {email->toDictionary(), R"({"emoji":"e","email_id":"m","is_primary":false})"},
      {url->toDictionary(), R"({"id":"i","url_id":"u","is_primary":false})"},
      {none->toDictionary(), R"({"is_primary":false})"},
      {address->toDictionary(),
       R"({"id":"i","type":"t","label":"l","street_address":"s","extended_address":"e",
           "city":"c","region":"r","postal_code":"p","country":"o","is_primary":true})"},
      {date->toDictionary(), R"({"label":"l","date":"d","is_primary":true})"},
      {profile->toDictionary(), R"({"id":"i","platform":"p","username":"n","url":"u"})"},
      {chat->toDictionary(), R"({"id":"i","service":"s","username":"n","user_identifier":"u",
                                 "type":"t","is_primary":false})"},
      {relation->toDictionary(), R"({"id":"i","name":"n","relation_type":"r","notes":"o"})"},
  };
  for (const auto& [written, expected] : cases)
    EXPECT_EQ(text(written), sorted(expected));

  const auto contact = QFServerContact::initWithDisplayName("n", "o", "s");
  contact->setPhoneNumbers(std::vector{phone, std::shared_ptr<QFServerContactPhoneNumber>()});
  const auto batch = QFServerContactBulkCreate::initWithContacts(std::vector{contact}, true);
  EXPECT_EQ(batch->toDictionary(),
            (Dictionary{{"contacts", Array{contact->toDictionary()}}, {"skip_duplicates", true}}));
  EXPECT_EQ(contact->toDictionary().at("phone_numbers"), (Array{phone->toDictionary()}));
  batch->setContacts({});
  EXPECT_EQ(text(batch->toDictionary()), R"({"skip_duplicates":true})");
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
  EXPECT_EQ(read(R"({"phone_numbers":[1,{},null]})")->phoneNumbers()->size(), 1u);
  // Texts and the content of containers are kept as they stand.
  const char* odd = R"({"given_name":null,"nickname":null,"notes":7,"id":{"a":[1]},
                        "tags":[1,null],"custom_fields":{"k":[null]}})";
  const Dictionary kept = read(odd)->toDictionary();
  for (const auto& [key, value] : json(odd))
    EXPECT_EQ(kept.at(key), value) << key;

  const Dictionary labelled =
      json(R"({"type":"home","label":"work","value":"1","is_primary":"1"})");
  EXPECT_EQ(QFServerContactPhoneNumber::fromDictionary(labelled)->label(), "home");
  EXPECT_EQ(QFServerContactEmailAddress::fromDictionary(labelled)->label(), "home");
  EXPECT_EQ(QFServerContactURLAddress::fromDictionary(labelled)->label(), "home");
  EXPECT_EQ(QFServerContactAddress::fromDictionary(labelled)->label(), "work");
  EXPECT_TRUE(QFServerContactAddress::fromDictionary(labelled)->isPrimary());
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

  const auto again = KeyedUnarchiver::unarchivedObjectOfClass<QFServerContactBulkCreate>(bytes);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->toDictionary(), batch->toDictionary());
  EXPECT_EQ(again->contacts()->front()->phoneNumbers()->front()->label(), "label");
}

TEST(ServerContact, AnArchiveWithoutKeysGivesTheDefaults) {
  const auto empty = [](const char* name) {
    return archiveOf({dictionaryOf({{"$class", uidOf(2)}}), classOf(name)}, 1);
  };
  const auto contact =
      KeyedUnarchiver::unarchivedObjectOfClass<QFServerContact>(empty("QFServerContact"));
  ASSERT_TRUE(contact);
  EXPECT_EQ(text(contact->toDictionary()),
            text(QFServerContact::initWithDisplayName({}, {}, {})->toDictionary()));
  EXPECT_TRUE(contact->givenName().isAbsent());
  const auto batch = KeyedUnarchiver::unarchivedObjectOfClass<QFServerContactBulkCreate>(
      empty("QFServerContactBulkCreate"));
  ASSERT_TRUE(batch);
  EXPECT_TRUE(!batch->contacts() && !batch->skipDuplicates());
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
    const auto read =
        KeyedUnarchiver::unarchivedObjectOfClass<QFServerContact>(archived(contact), &error);
    EXPECT_EQ(read == nullptr, refused != nullptr) << from;
    if (!error) continue;
    EXPECT_EQ(error->code(), 4864);
    EXPECT_NE(error->localizedDescription().find(refused), std::string::npos) << from;
  }
  // Each list allows its own records.
  for (const auto& [key, className, texts] : kLists) {
    for (const char* element : {className, "QFServerContact"}) {
      plist_t contact = dictionaryOf({{"$class", uidOf(2)}, {key, uidOf(3)}});
      plist_t list = dictionaryOf({{"$class", uidOf(4)}, {"NS.objects", arrayOf({uidOf(5)})}});
      const std::string bytes =
          archiveOf({contact, classOf("QFServerContact"), list, classOf("NSArray"),
                     dictionaryOf({{"$class", uidOf(6)}}), classOf(element)},
                    1);
      EXPECT_EQ(KeyedUnarchiver::unarchivedObjectOfClass<QFServerContact>(bytes) != nullptr,
                element == className)
          << key;
    }
  }
}

}  // namespace
}  // namespace quillfold
