// The three questions, the lookups behind them and the scores.
#include "recommendations/recommendation_service.h"

#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

const std::string kError = "error RecommendationService: ";

std::string shown(const QFContactRecommendation& item) {
  return fmt::format("{} {:.1f} {} {}", item.contact()->identifier(), item.score(), item.type(),
                     item.organizationUserId().description());
}
std::string shown(const QFLocalCanonicalContact& item) {
  return fmt::format("{}:{}/{}", item.canonicalContact()->fullName().description(),
                     item.contactId().description(),
                     item.contact() ? item.contact()->identifier() : "-");
}
std::string shown(const QFCanonicalContact& item) {
  return item.fullName().description();
}

constexpr auto kToInvite = &QFRecommendationService::getSharedContactsByUsersToInviteWithLimit;
constexpr auto kUsingApp = &QFRecommendationService::getContactsUsingAppWithLimit;
constexpr auto kMightKnow = &QFRecommendationService::getUsersYouMightKnowWithLimit;

template <typename List>
std::string shownList(const List& list) {
  std::vector<std::string> items;
  for (const auto& item : *list)
    items.push_back(shown(*item));
  return fmt::format("[{}]", fmt::join(items, ", "));
}

class RecommendationTest : public SocialTest {
 protected:
  template <typename Element>
  using List = std::optional<std::vector<std::shared_ptr<Element>>>;

  template <typename Element>
  std::string ask(void (QFRecommendationService::*question)(
                      std::int64_t, QFRecommendationService::Completion<Element>),
                  std::int64_t answer, std::string text) {
    return end<List<Element>>(
        answer, std::move(text), [&](auto done) { (service.get()->*question)(-2, done); },
        [](const auto& list) { return shownList(list); });
  }

  const std::shared_ptr<QFRecommendationService> service = facade->recommendationService();
};

TEST_F(RecommendationTest, AFailureIsLogged) {
  const auto expectFailure = [this](auto question, const std::string& what) {
    ask(question, 500, "");
    EXPECT_EQ(platform.log->lines().back(),
              kError + "Failed to get " + what + ": Server error 500: Server error");
  };
  expectFailure(kToInvite, "shared contacts to invite");
  expectFailure(kUsingApp, "contacts using app");
  expectFailure(kMightKnow, "users you might know");
}

TEST_F(RecommendationTest, ContactsToInviteAreScoredAndSorted) {
  addContact("two-phones", 2, 0);
  addContact("nothing", 0, 0);
  addContact("many", 3, 1);
  addContact("both", 1, 1);
  const int stores = platform.contacts->storesMade;
  // More than the limit; what the device does not have is left out.
  EXPECT_EQ(ask(kToInvite, 200, R"(["nothing","both","gone","many","two-phones"])"),
            "[many 1.0 0 , two-phones 0.6 0 , both 0.5 0 , nothing 0.0 0 ]");
  EXPECT_EQ(platform.contacts->storesMade, stores + 5);
  EXPECT_THAT(platform.contacts->lastKeys, ::testing::Not(::testing::Contains(CNContactNoteKey)));
  EXPECT_TRUE(platform.log->contains(kError + "Failed to fetch contact with ID gone: The operation "
                                              "couldn’t be completed. (CNErrorDomain error 200.)"));
}

TEST_F(RecommendationTest, AppUsersAreJoinedAndSorted) {
  addContact("local", 1, 0);
  const std::string answer = R"([{"contact_id":"c1","source_contact_id":"local",
      "canonical_contact":{"full_name":"b","email":"😀)" +
                             std::string(200, 'x') + R"("}},
     {"contact_id":"c2","source_contact_id":"gone","canonical_contact":{"full_name":"Z"}},
     {"contact_id":"c3","canonical_contact":{}},
     {"contact_id":"c4","source_contact_id":"local"},
     {"contact_id":null,"source_contact_id":"local","canonical_contact":{}}])";
  for (const auto& text : {answer, "{\"data\":" + answer + "}"}) {
    EXPECT_EQ(ask(kUsingApp, 200, text), "[Z:c2/-, b:c1/local, :<null>/local]");
  }
  EXPECT_EQ(platform.log->count(kError + "Missing required fields in contactInfo: "
                                         R"({canonical_contact: {}, contact_id: "c3"})"),
            2u);
  // The sample is of a bare list only, cut at 200 characters, of which an emoji is two.
  const auto sample = *NSJSONSerialization::dataWithJSONObject(json(answer).asArray()->front());
  EXPECT_EQ(platform.log->count("debug RecommendationService: Sample JSON for app users: " +
                                sample.substr(0, 202)),
            1u);
}

TEST_F(RecommendationTest, PeopleOneMightKnowAreReadAndSorted) {
  const auto shownWithFirst = [](const auto& list) {
    return shownList(list) + description(list->front()->toDictionary());
  };
  const std::string z = R"("id":"1","organization_id":"2","organization_user_id":"3","email":null,
      "phone":5,"full_name":"Z","avatar_url":"7","contact_metadata":{"k":1})";
  EXPECT_EQ(
      end<List<QFCanonicalContact>>(
          200,
          R"([{"full_name":"f"},{"id":"1"},{"full_name":"\u00e9"},{"full_name":null},{)" + z +
              R"(,"is_active":"1","updated_at":"1970-01-01T00:00:10Z",
                          "created_at":20},{"full_name":"Z"},{"full_name":"e"}])",
          [&](auto done) { service->getUsersYouMightKnowWithLimit(1, done); }, shownWithFirst),
      "[Z, Z, e, é, f, , <null>]" +
          json("{" + z + R"(,"is_active":true,"updated_at":10})").description());
}

TEST_F(RecommendationTest, LookupsRunOnTheSpotAndSurviveTheStore) {
  addContact("a", 1, 0);
  addContact("b", 0, 1);
  std::string end;
  const auto done = [&](const auto& list, const ErrorPtr& error) {
    EXPECT_EQ(error, nullptr);
    end += shownList(list) + list->front()->reason();
  };
  const auto infos = json(R"([{"source_contact_id":"a","organization_user_id":null},{},
                              {"source_contact_id":"b","organization_user_id":"U"},7])");
  service->lookupContactsAndCreateRecommendationsWithContactInfos(
      *infos.asArray(), QFRecommendationTypeMightKnow, done);
  service->lookupContactsAndCreateRecommendationsWithContactIDs({"b"}, 7, done);
  EXPECT_EQ(end,
            "[a 0.8 2 <null>, b 0.8 2 U]You might know this person"
            "[b 0.0 7 ]Based on your mutual connections");

  platform.contacts->missingIsNoError = true;
  EXPECT_EQ(service->findLocalContactByID("c"), nullptr);
  EXPECT_TRUE(
      platform.log->contains(kError + "Failed to fetch contact with ID c: Contact not found"));
  platform.contacts->exception = NSException("Any", "broken");
  EXPECT_EQ(service->findLocalContactByID("a"), nullptr);
  platform.contacts->status = CNAuthorizationStatusDenied;
  EXPECT_EQ(ask(kToInvite, 200, R"(["a"])"), "[]");
  EXPECT_EQ(platform.log->count(kError + "Exception when fetching contact: broken"), 1u);
  EXPECT_EQ(platform.log->count(kError + "Contact store access not authorized"), 1u);
}

TEST_F(RecommendationTest, ScoresAndReasons) {
  // Phones, e-mail addresses, last sync and score.
  using Rows = std::vector<std::tuple<std::size_t, std::size_t, double, double>>;
  const auto check = [this](std::int64_t type, const char* reason, const Rows& rows) {
    for (const auto& [phones, emails, syncedAt, score] : rows) {
      const auto contact = QFContact::initWithIdentifier("c");
      contact->setPhoneNumbers(PhoneNumbers(phones));
      contact->setEmailAddresses(EmailAddresses(emails));
      contact->setLastSyncedAt(syncedAt);
      EXPECT_DOUBLE_EQ(service->calculateRecommendationScoreForContact(*contact, type), score);
      EXPECT_EQ(service->generateRecommendationReasonForContact(*contact, type), reason);
    }
  };
  const double day = 86400, now = platform.clock->seconds;
  const char* const mutual = "Based on your mutual connections";
  check(0, mutual, {{2, 0, 0, 0.6}, {1, 1, 0, 0.5}, {3, 1, 0, 1}, {0, 1, 1, 0.7}, {0, 1, -5, 0.2}});
  check(1, "Already using the app",
        {{9, 9, 0, 0.8}, {0, 0, -1e9, 0.8}, {0, 0, now, 0.8}, {0, 0, now - 3 * day, 0.9}});
  check(1, "Already using the app", {{0, 0, 1, 1}, {0, 0, now + 60 * day, -1.2}});
  check(2, "You might know this person",
        {{1, 1, 0, 1}, {3, 0, 0, 0.85}, {0, 3, 0, 0.85}, {0, 0, 0, 0.7}});
  check(7, mutual, {{9, 9, 9, 0}});
}

}  // namespace
}  // namespace quillfold::testing
