// The contact as it is uploaded.
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactWire : public ModelTest {
 protected:
  const QFContactPtr contact = QFContact::initWithIdentifier("id-1");
};

TEST_F(ContactWire, AbsentFieldsBecomeNullEmptyOrNothing) {
  contact->setPhoneNumbers(entries<QFContactPhoneNumber>({{{}, {}}}));
  contact->setEmailAddresses(entries<QFContactEmailAddress>({{{}, {}}}));
  contact->setUrlAddresses(entries<QFContactURL>({{{}, {}}}));
  contact->setRelations(entries<QFContactRelation>({{{}, {}}, {"Eve", "Sister"}}));
  contact->setAddresses({QFContactAddress::initWithContactId("id-1")});
  contact->setSocialProfiles({QFContactSocialProfile::initWithContactId("id-1", {})});
  contact->setInstantMessageAddresses({QFContactInstantMessage::initWithContactId("id-1", {}, {})});
  contact->setDates({QFContactDate::initWithContactId("id-1", {}, {})});
  contact->setMatchString({});
  const auto expected = parsed(R"({
    "id": "id-1", "display_name": "", "given_name": null, "family_name": null,
    "name_prefix": null, "name_suffix": null, "middle_name": null, "previous_family_name": null,
    "nickname": "", "notes": "", "bio": null, "location": null, "contact_section": "#",
    "source_contact_id": "id-1", "organization_name": null, "department_name": null,
    "job_title": null, "contact_type": 0, "birthday": null,
    "dates": [{"id": null, "label": "other", "is_primary": false}],
    "phone_numbers": [{"type": "other", "label": "other", "value": "", "is_primary": 1}],
    "addresses": [{"type": "other", "label": "other", "street_address": null, "city": null,
                   "extended_address": null, "region": null, "postal_code": null, "country": null,
                   "is_primary": 1}],
    "urls": [{"type": "other", "label": "other", "value": "", "is_primary": 1}],
    "social_profiles": [{"platform": "other", "label": "other", "username": null, "url": null}],
    "instant_message_addresses": [{"service": "other", "label": "other", "username": ""}],
    "relations": [{"name": "", "relation_type": "other", "notes": null},
                  {"name": "Eve", "relation_type": "Sister", "notes": null}],
    "email_addresses": [{"type": "other", "label": "other", "value": "", "is_primary": 1}],
    "tags": [], "custom_fields": {}, "match_string": ""})");
  EXPECT_EQ(compact(contact->toServerContactWithOrganizationId({}, {})), compact(expected));
}

TEST_F(ContactWire, EveryFieldHasItsKey) {
  const auto full = everyField();
  full->phoneNumbers()[0]->setEmoji("☎");
  full->addresses()[0]->setEmoji("never sent");
  full->setNotes("Moved");  // Leaves the stored match string alone.
  const auto expected = parsed(
      R"({
    "id": "id-1", "display_name": "Ann Lee", "given_name": "Ann", "family_name": "Lee",
    "name_prefix": "Dr", "name_suffix": "Jr", "middle_name": "Bea", "previous_family_name": "Old",
    "nickname": "Nan", "notes": "Moved", "bio": "Biography", "location": "Here",
    "contact_section": "L", "organization_id": "ORG", "source_id": "SRC",
    "source_contact_id": "id-1", "organization_name": "Acme", "department_name": "Labs",
    "job_title": "Chief", "contact_type": 1, "birthday": "1990-05-06",
    "dates": [{"id": null, "label": "anniversary", "date": "1990-05-06", "is_primary": false}],
    "phone_numbers": [
      {"type": "mobile", "label": "mobile", "value": "+1 (555) 010-0199", "is_primary": 1,
       "emoji": "☎"},
      {"type": "boat", "label": "boat", "value": "010-77", "is_primary": 0}],
    "email_addresses": [
      {"type": "work", "label": "work", "value": "Ann.Lee+Work@Mail", "is_primary": 1},
      {"type": "other", "label": "other", "value": "ann@home", "is_primary": 0}],
    "addresses": [
      {"type": "home", "label": "home", "street_address": "1 Main St", "extended_address": null,
       "city": "Springfield", "region": "", "postal_code": "12345", "country": "USA",
       "is_primary": 1}],
    "urls": [
      {"type": "website", "label": "website", "value": "https://Example.com", "is_primary": 1}],
    "social_profiles": [
      {"platform": "chirp", "label": "chirp", "username": "annlee", "url": "https://chirp/ann"}],
    "instant_message_addresses": [{"service": "jabber", "label": "jabber", "username": "ann@jab"}],
    "relations": [{"name": "Eve", "relation_type": "sister", "notes": null}],
    "tags": ["chess", "Go"], "custom_fields": {}, "match_string": ")"
      "Ann Bea Lee Old Nan Acme Labs Chief 15550100199 01077 ann.leework@mail ann@home 1 Main St "
      "Springfield  12345 USA annlee Chirp https://chirp/ann Eve sister ann@jab Jabber Example.com "
      "Met in Rome Biography Here\"}");
  EXPECT_EQ(compact(full->toServerContactWithOrganizationId("ORG", "SRC")), compact(expected));
}

TEST_F(ContactWire, URLsGetASchemeUnlessTheyAreWebAddresses) {
  const auto urls = parsed(R"({
    "Example.com": "https://Example.com", "HTTP://Example.com": "HTTP://Example.com",
    "https://x": "https://x", "ftp://x": "https://ftp://x", "http:/x": "https://http:/x",
    "": ""})");
  for (const auto& [url, sent] : *urls.asDictionary()) {
    contact->setUrlAddresses(entries<QFContactURL>({{url, {}}}));
    EXPECT_EQ(contact->mapURLsToServerFormat()[0].asDictionary()->at("value"), sent);
  }
}

TEST_F(ContactWire, LabelsGoThroughTheTableOfTheirForm) {
  // What becomes of a label in brackets, and of the same label without.
  const auto table = parsed(R"({
    "Mobile":   ["mobile", "mobile"],      "iPhone":    ["mobile", "mobile"],
    "cell":     ["mobile", "mobile"],      "cellphone": ["cellphone", "mobile"],
    "Home":     ["home", "home"],          "HomeFAX":   ["home", "homefax"],
    "personal": ["personal", "home"],      "work":      ["work", "work"],
    "workfax":  ["work", "workfax"],       "company":   ["work", "work"],
    "business": ["business", "work"],      "office":    ["office", "work"],
    "main":     ["main", "main"],          "Primary":   ["main", "main"],
    "pager":    ["pager", "pager"],        "fax":       ["fax", "fax"],
    "other":    ["other", "other"],        "Custom":    ["other", "custom"],
    "homepage": ["website", "website"],    "website":   ["website", "website"],
    "blog":     ["blog", "website"],       "url":       ["url", "website"],
    "MÓVIL":    ["móvil", "móvil"],        " home":     [" home", " home"]})");
  for (const auto& [label, results] : *table.asDictionary()) {
    const Array& expected = *results.asArray();
    EXPECT_EQ(contact->normalizeLabel("_$!<" + label + ">!$_"), expected[0].description());
    EXPECT_EQ(contact->normalizeLabel(label), expected[1].description());
  }
  EXPECT_EQ(contact->normalizeLabel(""), "other");
  // The first brackets of each kind count; the wrong way round, or with nothing
  // between them, they are part of a plain label.
  EXPECT_EQ(contact->normalizeLabel("<Cell><Home>"), "mobile");
  EXPECT_EQ(contact->normalizeLabel(">Custom<Custom>"), ">custom<custom>");
  EXPECT_EQ(contact->normalizeLabel("_$!<>!$_Custom"), "_$!<>!$_custom");
}

}  // namespace
}  // namespace quillfold::testing
