// Reading, writing, copying and comparing the records.
#include "social/social_records.h"
#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

template <typename Record>
Dictionary thereAndBack(const Dictionary& dictionary) {
  return Record::initWithDictionary(dictionary)->toDictionary();
}

const char* const kRow = R"({"id":"I","follower_id":"A","followed_id":"B","user_id":"U",
    "displayName":"D","photoURL":"P","username":"N","bio":"O","website":"W",
    "created_at":"2024-03-05T07:08:09.500Z","is_following":true,"contact_id":"C",
    "follower":{"id":"1","organization_id":"2","organization_user_id":"3","email":"4","phone":"5",
                "full_name":"6","avatar_url":"7","is_active":true},
    "followed":{"id":"1","organization_id":null,"organization_user_id":null,"email":null,
                "phone":null,"full_name":7,"avatar_url":null,"is_active":false}})";
const char* const kEvent = R"({"id":"I","organization_id":"O","canonical_contact_id":"C",
    "event_type":"T","title":"E","description":"D","location":"L","metadata":{"k":[1,null]},
    "start_time":"2024-03-05T07:08:09.000Z","end_time":"2024-03-05T08:08:09.000Z",
    "is_public":true,"user_id":"U","created_at":"2024-03-04T07:08:09.000Z",
    "updated_at":"2024-03-04T07:08:09.250Z","created_by":{"name":"N","avatar_url":"A"}})";

TEST(SocialRecords, ReadAndWriteTheirMembers) {
  const struct {
    Dictionary (*record)(const Dictionary&);
    std::string in;
    std::string out = in;
  } records[] = {
      {thereAndBack<QFFollowRelationship>, kRow},
      {thereAndBack<QFFollowRelationship>,
       R"({"id":null,"bio":5,"created_at":7,"is_following":"yes","follower":"F"})",
       R"({"id":null,"user_id":"","bio":5,"is_following":true})"},
      {thereAndBack<QFFollowActionResponse>,
       R"({"message":"M","already_following":true,"was_following":true,"success":true})"},
      {thereAndBack<QFFollowStatusResponse>, R"({"is_following":true})"},
      {thereAndBack<QFPaginatedFollowList>,
       R"({"data":[1,{"id":"a"},null,{"id":"b"},[]],"total":"4","skip":null,"limit":2.9})",
       R"({"data":[{"id":"a","user_id":"","is_following":false},
                   {"id":"b","user_id":"","is_following":false}],"total":4,"skip":0,"limit":2})"},
      {thereAndBack<QFSocialEvent>, kEvent},
      // Other forms of a date come back in the one that is written.
      {thereAndBack<QFSocialEvent>,
       R"({"start_time":"2024-03-05T09:08:09+02:00","end_time":"tomorrow","created_by":[]})",
       R"({"start_time":"2024-03-05T07:08:09.000Z","is_public":false})"},
      {thereAndBack<QFEventActionResponse>, R"({"message":"M","event_id":"E","created":true,
                                              "updated":true,"deleted":true,"success":true})"},
      {thereAndBack<QFPaginatedEventList>,
       R"({"data":[{"title":"T","is_public":true}],"total":3,"skip":1,"limit":5})"},
      {thereAndBack<QFPaginatedEventList>, R"({"data":{"id":"a"},"total":3})",
       R"({"data":[],"total":3,"skip":0,"limit":0})"},
  };
  for (const auto& [record, in, out] : records) {
    expectObject(record(object(in)), out);
  }
}

// What is written as it was read may still stand in each other's place.
TEST(SocialRecords, MembersAreWhatTheirKeysSay) {
  const auto row = QFFollowRelationship::initWithDictionary(object(kRow));
  const auto person = row->follower();
  const auto event = QFSocialEvent::initWithDictionary(object(kEvent));
  const auto texts = [](const auto&... fields) { return (fields.description() + ...); };
  EXPECT_EQ(texts(row->identifier(), row->followerId(), row->followedId(), row->userId(),
                  row->displayName(), row->photoURL(), row->username(), row->bio(), row->website(),
                  row->contactId()),
            "IABUDPNOWC");
  EXPECT_EQ(texts(person->identifier(), person->organizationId(), person->organizationUserId(),
                  person->email(), person->phone(), person->fullName(), person->avatarUrl()),
            "1234567");
  EXPECT_EQ(texts(event->eventId(), event->organizationId(), event->canonicalContactId(),
                  event->eventType(), event->title(), event->description(), event->location(),
                  event->userId(), event->createdBy()->name(), event->createdBy()->avatarUrl()),
            "IOCTEDLUNA");
  EXPECT_TRUE(person->isActive() && !row->followed()->isActive());
  EXPECT_LT(*event->startTime(), *event->endTime());
  EXPECT_LT(*event->createdAt(), *event->updatedAt());
  const auto action = QFFollowActionResponse::initWithDictionary({{"already_following", true}});
  EXPECT_TRUE(action->alreadyFollowing() && !action->wasFollowing() && !action->success());
  const auto change = QFEventActionResponse::initWithDictionary({{"updated", true}});
  EXPECT_TRUE(change->updated() && !change->created() && !change->deleted() && !change->success());
  const auto answer = QFSocialResponse::initWithStatus("s", "m", Value(nullptr));
  EXPECT_EQ(*answer->status() + *answer->message(), "sm");
  EXPECT_EQ(answer->data(), Value(nullptr));
}

TEST(SocialRecords, PeopleAreReadInEachPlaceByItsOwnRules) {
  const std::string person = R"({"id":"1","organization_user_id":"3","full_name":"6",
      "is_active":1,"created_at":"1970-01-01T00:00:10Z","updated_at":"1970-01-01T00:00:20Z",
      "contact_metadata":{"k":"v"}})";
  const auto list = QFPaginatedMutualFollowers::initWithDictionary(
      object(fmt::format(R"({{"data":[5,{},{{}}],"total":7,"skip":1,"limit":2}})", person)));
  ASSERT_EQ(list->items().size(), 2u);
  EXPECT_EQ(list->total() * 100 + list->skip() * 10 + list->limit(), 712);
  expectObject(list->items()[0]->toDictionary(),
               R"({"id":"1","organization_id":null,"organization_user_id":"3","email":null,
                   "phone":null,"full_name":"6","avatar_url":null,"is_active":true,
                   "created_at":10,"updated_at":20,"contact_metadata":{"k":"v"}})");
  EXPECT_TRUE(list->items()[1]->identifier().isAbsent());

  const auto row = QFFollowRelationship::initWithDictionary({{"follower", json(person)}});
  EXPECT_EQ(row->follower()->createdAt(), std::nullopt);
  EXPECT_TRUE(row->follower()->contactMetadata().isAbsent());
  expectObject(*find(row->toDictionary(), "follower")->asDictionary(),
               R"({"id":"1","organization_id":null,"organization_user_id":"3","email":null,
                   "phone":null,"full_name":"6","avatar_url":null,"is_active":true})");
  for (const char* required : {"id", "organization_user_id", "full_name"}) {
    Dictionary lacking = object(person);
    lacking.erase(required);
    const auto broken = QFPaginatedFollowList::initWithDictionary(
        {{"data", Array{Dictionary{{"followed", lacking}}}}});
    EXPECT_THAT([&] { broken->toDictionary(); },
                ::testing::ThrowsMessage<NSException>(
                    "A person of a follow row lacks a member that is always written."))
        << required;
  }
}

QFCanonicalContactPtr person(const Dictionary& updates = {}) {
  return QFCanonicalContact::initWithId(
             "I", "O", "U", "E", "P", "F", "A", true, NSDate::dateWithTimeIntervalSince1970(1),
             NSDate::dateWithTimeIntervalSince1970(2), Dictionary{{"a", 1}, {"b", 2}})
      ->copyWithUpdates(updates);
}

TEST(SocialRecords, PeopleAreUpdatedAndCompared) {
  // Whether the two are equal then, and whether the update has an effect at all.
  const std::tuple<const char*, bool, bool> rows[] = {
      {R"({"id":"X"})", false, true},
      {R"({"organization_id":null,"organization_user_id":5})", true, true},
      {R"({"full_name":"f"})", false, true},
      {R"({"email":null})", false, true},
      {R"({"phone":"p"})", false, true},
      {R"({"avatar_url":"a"})", false, true},
      {R"({"is_active":false})", false, true},
      {R"({"created_at":"2024-03-05T07:08:09Z","updated_at":null})", true, false},
      {R"({"created_at":0,"updated_at":2.5})", true, true},
      {R"({"contact_metadata":{"c":3}})", true, true},
  };
  for (const auto& [text, equal, effect] : rows) {
    const auto updated = person(object(text));
    Dictionary expected = object(text);
    if (!effect) expected.clear();
    expected.merge(person()->toDictionary());
    EXPECT_EQ(description(updated->toDictionary()), description(expected));
    EXPECT_EQ(person()->isEqualToCanonicalContact(updated), equal) << text;
  }
  const auto date = NSDate::dateWithTimeIntervalSince1970(99);
  EXPECT_EQ(person({{"created_at", date}})->createdAt(), date);
  EXPECT_EQ(person({{"updated_at", date}})->updatedAt(), date);
  EXPECT_EQ(QFFollowRelationship::initWithDictionary({{"created_at", date}})->createdAt(), date);
  // What is written can be fed back.
  const auto empty = QFCanonicalContact::initWithFields({});
  const Dictionary whole = person()->toDictionary();
  EXPECT_EQ(empty->copyWithUpdates(whole)->toDictionary(), whole);
  EXPECT_EQ(person()->copyWithZone()->toDictionary(), whole);
  EXPECT_FALSE(empty->isEqualToCanonicalContact(empty));
  EXPECT_FALSE(person()->isEqualToCanonicalContact(nullptr));
  EXPECT_TRUE(person()->stringOrNilEquals({}, {}));
}

TEST(SocialRecords, PairsAndListsAreComparedAndCopied) {
  FakePlatform platform;
  const auto contact = QFContact::initWithIdentifier("L");
  const auto pair = QFLocalCanonicalContact::initWithContact;
  const auto whole = pair(contact, "C", "S", person());
  const std::pair<QFLocalCanonicalContactPtr, bool> rows[] = {
      {pair(contact->copyWithZone(), "C", "S", person()), true},
      {pair(QFContact::initWithIdentifier("M"), "C", "S", person()), false},
      {pair(nullptr, "C", "S", person()), false},
      {pair(contact, "C", {}, person()), false},
      {pair(contact, "C", "S", person({{"phone", "9"}})), false},
      {pair(contact, "C", "S", nullptr), false},
      {nullptr, false},
  };
  for (const auto& [candidate, equal] : rows) {
    EXPECT_EQ(whole->isEqualToLocalCanonicalContact(candidate), equal);
    EXPECT_TRUE(!candidate || candidate->isEqualToLocalCanonicalContact(whole) == equal);
  }
  const auto copy = whole->copyWithZone();
  EXPECT_EQ(copy->contact(), contact);
  EXPECT_NE(copy->canonicalContact(), whole->canonicalContact());
  Dictionary expected{{"contact_id", "C"}, {"source_contact_id", "S"}};
  expected["canonical_contact"] = person()->toDictionary();
  EXPECT_EQ(copy->toDictionary(), expected);

  const auto list = QFPaginatedFollowList::initWithDictionary(
      object(fmt::format(R"({{"data":[{}],"total":9,"skip":2,"limit":20}})", kRow)));
  const auto row = list->items()[0];
  row->setLocalContact(contact);
  const auto copies = list->copyWithZone();
  EXPECT_EQ(copies->toDictionary(), list->toDictionary());
  const auto copied = copies->items().at(0);
  EXPECT_NE(copied, row);
  EXPECT_NE(copied->follower(), row->follower());
  EXPECT_NE(copied->followed(), row->followed());
  EXPECT_NE(copied->localContact(), contact);
}

TEST(SocialRecords, RequestsWriteWhatIsSet) {
  const auto start = NSDate::dateWithTimeIntervalSince1970(1.5);
  const auto update = QFUpdateEventRequest::init();
  expectObject(update->toDictionary(), "{}");
  update->setTitle("T");
  update->setDescription("D");
  update->setLocation("");
  update->setStartTime(start);
  update->setEndTime(start);
  update->setMetadata(Dictionary{{"k", nullptr}});
  update->setIsPublic(true);
  const std::string common = R"("title":"T","description":"D","location":"",
      "start_time":"1970-01-01T00:00:01.500Z","end_time":"1970-01-01T00:00:01.500Z",
      "metadata":{"k":null},"is_public":true})";
  expectObject(update->toDictionary(), "{" + common);
  expectObject(QFCreateEventRequest::initWithEventType("E", "T", "D", "", start, start,
                                                       Dictionary{{"k", nullptr}}, true)
                   ->toDictionary(),
               R"({"event_type":"E",)" + common);
}

}  // namespace
}  // namespace quillfold::testing
