// The record itself: construction, copies, the display name, the date helpers.
#include <tuple>

#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactRecord : public ModelTest {};

auto fieldsOf(const QFContact& c) {
  return std::tie(c.identifier(), c.displayName(), c.contactType(), c.namePrefix(), c.givenName(),
                  c.middleName(), c.familyName(), c.previousFamilyName(), c.nameSuffix(),
                  c.nickname(), c.organizationName(), c.departmentName(), c.jobTitle(),
                  c.phoneNumbers(), c.emailAddresses(), c.addresses(), c.dates(), c.urlAddresses(),
                  c.socialProfiles(), c.relations(), c.instantMessageAddresses(), c.notes(),
                  c.bio(), c.location(), c.birthday(), c.imageUrl(), c.imageData(),
                  c.thumbnailImageData(), c.imageDataAvailable(), c.interests(), c.avatars(),
                  c.isDeleted(), c.dirtyTime(), c.lastSyncedAt(), c.contactSection(),
                  c.matchString(), c.parentContactId(), c.sourceId(), c.createdAt());
}

template <typename Fields, std::size_t... Index>
std::vector<std::size_t> sameFields(const Fields& a, const Fields& b,
                                    std::index_sequence<Index...>) {
  std::vector<std::size_t> same;
  ((std::get<Index>(a) == std::get<Index>(b) ? same.push_back(Index) : void()), ...);
  return same;
}

TEST_F(ContactRecord, StartsEmptyWithItsSectionMatchStringAndTime) {
  platform.clock->seconds = 1234.5;
  const auto contact = QFContact::initWithIdentifier("id");
  EXPECT_EQ(contact->identifier(), "id");
  EXPECT_EQ(contact->contactSection(), "#");
  EXPECT_EQ(contact->matchString(), "");
  EXPECT_EQ(contact->createdAt(), 1234.5);
  EXPECT_EQ(contact->dirtyTime(), 0);
  EXPECT_FALSE(contact->displayName() || contact->givenName() || contact->notes());
  platform.clock->seconds = 2000;
  contact->markAsDirty();
  EXPECT_EQ(contact->dirtyTime(), 2000);
  EXPECT_EQ(contact->createdAt(), 1234.5);
}

TEST_F(ContactRecord, CopyLeavesNoFieldOutAndSharesTheEntries) {
  const auto contact = everyField();
  const auto fresh = QFContact::initWithIdentifier("fresh");
  constexpr auto kAll = std::make_index_sequence<std::tuple_size_v<decltype(fieldsOf(*contact))>>();
  ASSERT_EQ(sameFields(fieldsOf(*contact), fieldsOf(*fresh), kAll), std::vector<std::size_t>{})
      << "every field must have a value of its own for this test to see it";
  platform.clock->seconds += 60;
  const auto copy = contact->copyWithZone();
  EXPECT_EQ(sameFields(fieldsOf(*contact), fieldsOf(*copy), kAll).size(), 39u);

  copy->phoneNumbers().front()->setValue("changed");
  EXPECT_EQ(contact->phoneNumbers().front()->value(), "changed");
  copy->setPhoneNumbers({});
  EXPECT_EQ(contact->phoneNumbers().size(), 2u);
}

TEST_F(ContactRecord, DisplayNameTakesTheFirstThingThereIs) {
  struct Row {
    OptionalString given, family, organization, phone, email;
    const char* expected;
  };
  const Row rows[] = {
      {"Ann", "Lee", "Acme", "1", "a@b", "Ann Lee"},
      {"Ann", "", "Acme", "1", "a@b", "Ann"},
      {{}, "Lee", "Acme", "1", "a@b", "Lee"},
      {"", "", "Acme", "1", "a@b", "Acme"},
      {{}, {}, "", "1", "a@b", "1"},
      {{}, {}, {}, {}, "a@b", "a@b"},
      {{}, {}, {}, "", "a@b", "id"},  // The phone without a number hides the address.
      {{}, {}, {}, {}, {}, "id"}};
  for (const Row& row : rows) {
    const auto contact = QFContact::initWithIdentifier("id");
    contact->setGivenName(row.given);
    contact->setFamilyName(row.family);
    contact->setOrganizationName(row.organization);
    if (row.phone) contact->setPhoneNumbers(entries<QFContactPhoneNumber>({{row.phone, {}}}));
    if (row.email) contact->setEmailAddresses(entries<QFContactEmailAddress>({{row.email, {}}}));
    contact->updateDisplayInfo();
    EXPECT_EQ(contact->displayName(), row.expected);
  }
}

TEST_F(ContactRecord, SettersLeaveTheSnapshotsAlone) {
  const auto contact = everyField();
  const std::string hash = contact->generateContactHash();
  contact->setGivenName("Zoe");
  EXPECT_EQ(contact->displayName(), "Ann Lee");
  EXPECT_NE(contact->matchString(), contact->generateMatchString());
  EXPECT_EQ(contact->contactSection(), "L");
  EXPECT_EQ(contact->generateContactHash(), hash);
}

}  // namespace
}  // namespace quillfold::testing
