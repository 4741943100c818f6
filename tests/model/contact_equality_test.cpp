// Change hash and equality: what each of them sees.
#include "foundation/error.h"
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactEquality : public ModelTest {
 protected:
  // Whether the full contact still equals its copy after a change to the copy.
  template <typename Change>
  bool equalAfter(Change change) const {
    const auto copy = contact->copyWithZone();
    change(*copy);
    return contact->isEqualToContact(copy);
  }

  // Whether it does so after each of the fields has been emptied, one at a time.
  template <typename... Setters>
  std::vector<bool> equalAfterEmptying(Setters... setters) const {
    return {equalAfter([setters](QFContact& copy) { (copy.*setters)({}); })...};
  }

  static NSDate later(const std::optional<NSDate>& date, int hours) {
    return date.value().dateByAddingTimeInterval(hours * 3600.0);
  }

  const QFContactPtr contact = everyField();
};

TEST_F(ContactEquality, HashIsThatOfTheStoredMatchStringUpToAZero) {
  const auto fresh = QFContact::initWithIdentifier("id");
  EXPECT_EQ(fresh->generateContactHash(),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(fresh->sha256(std::string("abc\0d", 5)), fresh->sha256("abc"));
  fresh->setMatchString("abc");
  fresh->setGivenName("Not looked at");
  EXPECT_EQ(fresh->generateContactHash(), fresh->sha256("abc"));
  fresh->setMatchString(std::nullopt);
  EXPECT_THROW(fresh->generateContactHash(), NSException);
}

TEST_F(ContactEquality, EveryFieldCountsButTheDisplayNameTheImageURLAndTheTimes) {
  const auto counted = equalAfterEmptying(
      &QFContact::setContactType, &QFContact::setNamePrefix, &QFContact::setGivenName,
      &QFContact::setMiddleName, &QFContact::setFamilyName, &QFContact::setPreviousFamilyName,
      &QFContact::setNameSuffix, &QFContact::setNickname, &QFContact::setOrganizationName,
      &QFContact::setDepartmentName, &QFContact::setJobTitle, &QFContact::setNotes,
      &QFContact::setBio, &QFContact::setLocation, &QFContact::setMatchString,
      &QFContact::setContactSection, &QFContact::setParentContactId, &QFContact::setSourceId,
      &QFContact::setImageDataAvailable, &QFContact::setImageData,
      &QFContact::setThumbnailImageData, &QFContact::setPhoneNumbers, &QFContact::setEmailAddresses,
      &QFContact::setUrlAddresses, &QFContact::setAddresses, &QFContact::setSocialProfiles,
      &QFContact::setRelations, &QFContact::setInstantMessageAddresses, &QFContact::setDates,
      &QFContact::setInterests, &QFContact::setAvatars, &QFContact::setBirthday);
  EXPECT_EQ(counted, std::vector<bool>(32, false));
  const auto ignored = equalAfterEmptying(&QFContact::setDisplayName, &QFContact::setImageUrl,
                                          &QFContact::setIsDeleted, &QFContact::setDirtyTime,
                                          &QFContact::setLastSyncedAt, &QFContact::setCreatedAt);
  EXPECT_EQ(ignored, std::vector<bool>(6, true));
  const auto empty = QFContact::initWithIdentifier("a");
  EXPECT_TRUE(empty->isEqualToContact(QFContact::initWithIdentifier("a")));
  EXPECT_FALSE(empty->isEqualToContact(QFContact::initWithIdentifier("b")));
  EXPECT_FALSE(contact->isEqualToContact(nullptr));
}

TEST_F(ContactEquality, TextsAndBytesCompareExactlyAndBirthdaysByTheLocalDay) {
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setGivenName("ANN"); }));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setImageData(Data("other")); }));
  EXPECT_TRUE(equalAfter([](QFContact& c) { c.setBirthday(later(c.birthday(), 23)); }));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setBirthday(later(c.birthday(), 24)); }));
  contact->setBio({});
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setBio(""); }));
}

// An entry without a value can't be compared, which shows what is looked at first.
TEST_F(ContactEquality, ComparesInAFixedOrder) {
  contact->setPhoneNumbers(entries<QFContactPhoneNumber>({{{}, {}}}));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setMatchString("other"); }));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setThumbnailImageData({}); }));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setPhoneNumbers({}); }));
  EXPECT_THROW(equalAfter([](QFContact& c) { c.setEmailAddresses({}); }), NSException);
  contact->setPhoneNumbers({});
  contact->setUrlAddresses(entries<QFContactURL>({{{}, {}}}));
  EXPECT_FALSE(equalAfter([](QFContact& c) { c.setEmailAddresses({}); }));
  EXPECT_THROW(equalAfter([](QFContact& c) { c.setAddresses({}); }), NSException);
  EXPECT_THROW(equalAfter([](QFContact& c) { c.setBirthday({}); }), NSException);
}

TEST_F(ContactEquality, ListsOfLabelledValuesForgiveOrderAndForm) {
  using Phones = std::vector<std::pair<OptionalString, OptionalString>>;
  const auto equal = [](const Phones& a, const Phones& b) {
    return QFContact::arePhoneNumbersEqual(entries<QFContactPhoneNumber>(a),
                                           entries<QFContactPhoneNumber>(b));
  };
  EXPECT_FALSE(equal({}, {{{}, {}}}));  // The missing value is not even looked at.
  EXPECT_THROW(equal({{{}, {}}}, {{{}, {}}}), NSException);
  EXPECT_TRUE(equal({{"1 (555) 010-0199", "home"}}, {{"555.010.0199", "home"}}));
  EXPECT_TRUE(equal({{"1", "a"}, {"2", {}}}, {{"2", ""}, {"1", "a"}}));
  EXPECT_FALSE(equal({{"1", "Home"}}, {{"1", "home"}}));
  EXPECT_FALSE(equal({{"1", "a"}, {"1", "a"}}, {{"1", "a"}}));
  EXPECT_FALSE(equal({{"0123456789", "a"}}, {{"123456789", "a"}}));
  // Equal digits are one key, whose later label counts.
  EXPECT_TRUE(equal({{"15550100199", "x"}, {"5550100199", "y"}},
                    {{"5550100199", "y"}, {"5550100199", "y"}}));
  EXPECT_EQ(QFContact::normalizePhoneNumber(std::nullopt), std::nullopt);

  const auto emails = entries<QFContactEmailAddress>({{"Ann@Mail", "x"}});
  const auto sameEmails = entries<QFContactEmailAddress>({{"ann@mail", "x"}});
  EXPECT_TRUE(QFContact::areEmailAddressesEqual(emails, sameEmails));
  sameEmails[0]->setType("X");
  EXPECT_FALSE(QFContact::areEmailAddressesEqual(emails, sameEmails));
  const auto urls = entries<QFContactURL>({{"HTTP://É", "x"}});
  EXPECT_TRUE(QFContact::areURLAddressesEqual(urls, entries<QFContactURL>({{"http://é", "x"}})));
  EXPECT_FALSE(QFContact::areURLAddressesEqual(urls, entries<QFContactURL>({{"http://é", {}}})));
  EXPECT_TRUE(QFContact::areArraysEqual({"a", "A", "b"}, {"b", "a", "B"}));
  EXPECT_FALSE(QFContact::areArraysEqual({"a", "a"}, {"a"}));
}

TEST_F(ContactEquality, SetsCompareLowercaseTextsOfTheFieldsThatArePresent) {
  EXPECT_EQ(QFContact::stringFromAddress(*contact->addresses()[0]),
            "street:1 main st|city:springfield|state:|postal:12345|country:usa|type:home|");
  EXPECT_EQ(QFContact::stringFromSocialProfile(*contact->socialProfiles()[0]),
            "service:chirp|username:annlee|url:https://chirp/ann|");
  EXPECT_EQ(QFContact::stringFromRelation(*contact->relations()[0]), "name:eve|type:sister|");
  EXPECT_EQ(QFContact::stringFromInstantMessage(*contact->instantMessageAddresses()[0]),
            "service:jabber|username:ann@jab|type:home|");
  const NSDateFormatter year("yyyy");
  EXPECT_EQ(QFContact::stringFromDate(*contact->dates()[0], year), "date:1990|type:anniversary|");
  const auto undated = QFContactDate::initWithContactId("id", {}, "Name-Day");
  EXPECT_EQ(QFContact::stringFromDate(*undated, year), "type:name-day|");
  const auto other = everyField();
  other->addresses()[0]->setType("HOME");
  other->dates()[0]->setDate(later(contact->birthday(), 23));
  EXPECT_TRUE(contact->isEqualToContact(other));
  other->addresses()[0]->setState({});
  EXPECT_FALSE(contact->isEqualToContact(other));
}

}  // namespace
}  // namespace quillfold::testing
