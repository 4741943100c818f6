// The three questions, the lookups behind them and the scores.
#include "recommendations/recommendation_service.h"

#include "platform/date.h"
#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

const char* const kInvalid = "com.quillfold.recommendation 100 Invalid response format";

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
  using Question = void (QFRecommendationService::*)(
      std::int64_t limit, QFRecommendationService::Completion<Element> completion);
  template <typename Element>
  std::string ask(Question<Element> question, std::int64_t answer, std::string text) {
    return end<List<Element>>(
        answer, std::move(text), [&](auto done) { (service.get()->*question)(-2, done); },
        [](const auto& list) { return shownList(list); });
  }

  const std::shared_ptr<QFRecommendationService> service = facade->recommendationService();
};

TEST_F(RecommendationTest, EveryAnswerOfEveryQuestion) {
  const std::tuple<std::int64_t, const char*, std::string, std::string, std::string> rows[] = {
      {200, "[]", "[]", "[]", "[]"},
      {200, R"({"status":1,"data":[]})", "[]", "[]", "[]"},
      {200, R"({"data":[]})", kInvalid, "[]", kInvalid},
      {200, R"({"data":{}})", kInvalid, kInvalid, kInvalid},
      {200, R"({"status":1})", kInvalid, kInvalid, kInvalid},
      {200, R"({"status":1,"data":null})", kInvalid, kInvalid, kInvalid},
      {200, "plain", kInvalid, kInvalid, kInvalid},
      {204, "", kUnreadable, kUnreadable, kUnreadable},
      // Elements of another kind do no harm.
      {200, "[7,null,{}]", "[]", "[]", "[, , ]"},
  };
  for (const auto& [answer, text, invite, app, know] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ask(kToInvite, answer, text), invite);
    EXPECT_EQ(ask(kUsingApp, answer, text), app);
    EXPECT_EQ(ask(kMightKnow, answer, text), know);
  }
  const std::string failure = R"({"message":"down"})";
  const auto call = [&](const std::string& result, const char* request, const char* line) {
    EXPECT_THAT(result, ::testing::EndsWith("down"));
    EXPECT_EQ(lastRequest(), fmt::format("GET /api/v1/client/{} Bearer T ", request));
    EXPECT_THAT(platform.log->lines().back(),
                ::testing::StartsWith(fmt::format("error RecommendationService: {}", line)));
  };
  call(ask(kToInvite, 500, failure), "shared-contacts-across-users?limit=-2",
       "Failed to get shared contacts to invite: ");
  call(ask(kUsingApp, 500, failure), "contacts-app-users?limit=-2",
       "Failed to get contacts using app: ");
  call(ask(kMightKnow, 500, failure), "users-who-might-know-me?limit=-2",
       "Failed to get users you might know: ");
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
  EXPECT_THAT(platform.log->lines(),
              ::testing::Contains(::testing::StartsWith(
                  "error RecommendationService: Failed to fetch contact with ID gone: The oper")));
}

TEST_F(RecommendationTest, AppUsersAreJoinedAndSorted) {
  addContact("local", 1, 0);
  const std::string answer = R"([{"contact_id":"c1","source_contact_id":"local",
      "canonical_contact":{"full_name":"b","email":")" +
                             std::string(200, 'x') + R"("}},
     {"contact_id":"c2","source_contact_id":"gone","canonical_contact":{"full_name":"Z"}},
     {"contact_id":"c3","canonical_contact":{}},
     {"contact_id":null,"source_contact_id":"local","canonical_contact":{}},
     {"contact_id":"c4","source_contact_id":"local","canonical_contact":{"full_name":"a"}}])";
  for (const auto& text : {answer, "{\"data\":" + answer + "}"}) {
    EXPECT_EQ(ask(kUsingApp, 200, text), "[Z:c2/-, a:c4/local, b:c1/local, :<null>/local]");
  }
  const std::string missing =
      "error RecommendationService: Missing required fields in contactInfo: ";
  EXPECT_EQ(platform.log->count(missing + R"({canonical_contact: {}, contact_id: "c3"})"), 2u);
  // The sample is of a bare list only, cut at 200 characters.
  const auto sample = *NSJSONSerialization::dataWithJSONObject(json(answer).asArray()->front());
  EXPECT_EQ(platform.log->count("debug RecommendationService: Sample JSON for app users: " +
                                sample.substr(0, 200)),
            1u);
}

TEST_F(RecommendationTest, PeopleOneMightKnowAreReadAndSorted) {
  EXPECT_EQ(ask(kMightKnow, 200, R"([{"full_name":"f"},{"id":"1"},{"full_name":"\u00e9"},
                                     {"full_name":"Z"},{"full_name":null},{"full_name":"e"}])"),
            "[Z, e, é, f, , <null>]");
  body = R"([{"id":"1","organization_id":"2","organization_user_id":"3","email":null,"phone":5,
      "full_name":"6","avatar_url":"7","is_active":"1","contact_metadata":{"k":1},
      "created_at":"1970-01-01T00:00:10Z","updated_at":20}])";
  Dictionary expected = *json(body).asArray()->front().asDictionary();
  expected["is_active"] = true;
  expected["created_at"] = 10.0;
  expected.erase("updated_at");
  service->getUsersYouMightKnowWithLimit(
      1, [&](const auto& list, auto) { EXPECT_EQ(list->front()->toDictionary(), expected); });
  platform.settle();
}

TEST_F(RecommendationTest, LookupsRunOnTheSpotAndSurviveTheStore) {
  addContact("a", 1, 0);
  addContact("b", 0, 1);
  std::string end;
  const auto done = [&](const auto& list, const ErrorPtr& error) {
    EXPECT_EQ(error, nullptr);
    end += shownList(list);
  };
  const auto infos = json(R"([{"source_contact_id":"a","organization_user_id":null},{},
                              {"source_contact_id":"b","organization_user_id":"U"},7])");
  service->lookupContactsAndCreateRecommendationsWithContactInfos(
      *infos.asArray(), QFRecommendationTypeMightKnow, done);
  service->lookupContactsAndCreateRecommendationsWithContactIDs({"b"}, 7, done);
  EXPECT_EQ(end, "[a 0.8 2 <null>, b 0.8 2 U][b 0.0 7 ]");

  platform.contacts->exception = NSException("Any", "broken");
  EXPECT_EQ(service->findLocalContactByID("a"), nullptr);
  platform.contacts->status = CNAuthorizationStatusDenied;
  EXPECT_EQ(ask(kToInvite, 200, R"(["a"])"), "[]");
  EXPECT_EQ(
      platform.log->count("error RecommendationService: Exception when fetching contact: broken"),
      1u);
  EXPECT_EQ(platform.log->count("error RecommendationService: Contact store access not authorized"),
            1u);
}

TEST_F(RecommendationTest, ScoresAndReasons) {
  struct Facts {
    std::size_t phones, emails;
    double syncedAt;
  };
  const auto contactWith = [](const Facts& facts) {
    const auto contact = QFContact::initWithIdentifier("c");
    contact->setPhoneNumbers(PhoneNumbers(facts.phones));
    contact->setEmailAddresses(EmailAddresses(facts.emails));
    contact->setLastSyncedAt(facts.syncedAt);
    return contact;
  };
  const auto expectScores = [&](std::int64_t type, const std::vector<Facts>& contacts,
                                const std::vector<double>& expected, const char* reason) {
    std::vector<double> scores;
    for (const Facts& facts : contacts) {
      const auto contact = contactWith(facts);
      scores.push_back(service->calculateRecommendationScoreForContact(*contact, type));
      EXPECT_EQ(service->generateRecommendationReasonForContact(*contact, type), reason);
    }
    EXPECT_THAT(scores, ::testing::Pointwise(::testing::DoubleEq(), expected));
  };
  const double day = 86400, now = platform.clock->seconds;
  const char* const mutual = "Based on your mutual connections";
  expectScores(0, {{2, 0, 0}, {1, 1, 0}, {3, 1, 0}, {4, 0, 0}, {0, 0, 0}, {0, 1, 5}, {0, 1, -5}},
               {0.6, 0.5, 1.0, 1.0, 0.0, 0.7, 0.2}, mutual);
  expectScores(1,
               {{9, 9, 0},
                {0, 0, now},
                {0, 0, now - 3 * day},
                {0, 0, now - 7 * day},
                {0, 0, now + 60 * day}},
               {0.8, 0.8, 0.9, 1.0, -1.2}, "Already using the app");
  expectScores(2, {{1, 1, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 0}}, {1.0, 0.85, 0.85, 0.7},
               "You might know this person");
  expectScores(7, {{9, 9, 9}}, {0.0}, mutual);
}

}  // namespace
}  // namespace quillfold::testing
