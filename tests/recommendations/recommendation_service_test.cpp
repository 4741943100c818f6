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

  void add(const std::string& identifier, std::size_t phones, std::size_t emails) {
    auto person = MemoryContacts::person(identifier, "N");
    person.phoneNumbers.assign(phones, {std::nullopt, {"030 123"}});
    person.emailAddresses.assign(emails, {std::nullopt, "a@example.com"});
    platform.contacts->add(std::move(person));
  }

  template <typename Element, typename Call>
  std::string ask(std::int64_t answer, std::string text, Call call) {
    return end<List<Element>>(answer, std::move(text), call,
                              [](const auto& list) { return shownList(list); });
  }
  std::string toInvite(std::int64_t answer, std::string text) {
    return ask<QFContactRecommendation>(answer, std::move(text), [this](auto done) {
      service->getSharedContactsByUsersToInviteWithLimit(2, done);
    });
  }
  std::string usingApp(std::int64_t answer, std::string text) {
    return ask<QFLocalCanonicalContact>(answer, std::move(text), [this](auto done) {
      service->getContactsUsingAppWithLimit(-1, done);
    });
  }
  std::string mightKnow(std::int64_t answer, std::string text) {
    return ask<QFCanonicalContact>(answer, std::move(text), [this](auto done) {
      service->getUsersYouMightKnowWithLimit(0, done);
    });
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
    EXPECT_EQ(toInvite(answer, text), invite);
    EXPECT_EQ(usingApp(answer, text), app);
    EXPECT_EQ(mightKnow(answer, text), know);
  }
  const std::string failure = R"({"message":"down"})";
  const auto call = [&](const std::string& result, const char* request, const char* line) {
    EXPECT_THAT(result, ::testing::EndsWith("down"));
    EXPECT_EQ(lastRequest(), fmt::format("GET /api/v1/client/{} Bearer T ", request));
    EXPECT_THAT(platform.log->lines().back(),
                ::testing::StartsWith(fmt::format("error RecommendationService: {}", line)));
  };
  call(toInvite(500, failure), "shared-contacts-across-users?limit=2",
       "Failed to get shared contacts to invite: ");
  call(usingApp(500, failure), "contacts-app-users?limit=-1", "Failed to get contacts using app: ");
  call(mightKnow(500, failure), "users-who-might-know-me?limit=0",
       "Failed to get users you might know: ");
  // Also with nobody who wants to know.
  service->getContactsUsingAppWithLimit(1, {});
  platform.settle();
}

TEST_F(RecommendationTest, ContactsToInviteAreScoredAndSorted) {
  add("two-phones", 2, 0);
  add("nothing", 0, 0);
  add("many", 3, 1);
  add("both", 1, 1);
  const int stores = platform.contacts->storesMade;
  // More than the limit of two; what the device does not have is left out.
  EXPECT_EQ(toInvite(200, R"(["nothing","both","gone","many","two-phones"])"),
            "[many 1.0 0 , two-phones 0.6 0 , both 0.5 0 , nothing 0.0 0 ]");
  EXPECT_EQ(platform.contacts->storesMade, stores + 5);
  EXPECT_THAT(platform.contacts->lastKeys, ::testing::Not(::testing::Contains(CNContactNoteKey)));
  EXPECT_THAT(platform.log->lines(),
              ::testing::Contains(::testing::StartsWith(
                  "error RecommendationService: Failed to fetch contact with ID gone: The oper")));
}

TEST_F(RecommendationTest, AppUsersAreJoinedAndSorted) {
  add("local", 1, 0);
  const std::string answer = R"([{"contact_id":"c1","source_contact_id":"local",
      "canonical_contact":{"full_name":"b","created_at":"1970-01-01T00:00:10Z","updated_at":20,
                           "is_active":"1","contact_metadata":{"k":1},"email":null,"id":"p1"}},
     {"contact_id":"c2","source_contact_id":"gone","canonical_contact":{"full_name":"Z"}},
     {"contact_id":"c3","canonical_contact":{}},
     {"contact_id":null,"source_contact_id":"local","canonical_contact":{}},
     {"contact_id":"c4","source_contact_id":"local","canonical_contact":{"full_name":"a"}}])";
  for (const bool wrapped : {false, true}) {
    EXPECT_EQ(usingApp(200, wrapped ? "{\"data\":" + answer + "}" : answer),
              "[Z:c2/-, a:c4/local, b:c1/local, :<null>/local]");
  }
  const std::string missing =
      "error RecommendationService: Missing required fields in contactInfo: ";
  EXPECT_EQ(platform.log->count(missing + R"({canonical_contact: {}, contact_id: "c3"})"), 2u);
  // The sample is of a bare list only, cut at 200 characters.
  const std::string sample =
      *NSJSONSerialization::dataWithJSONObject(json(answer).asArray()->front());
  EXPECT_EQ(platform.log->count("debug RecommendationService: Sample JSON for app users: " +
                                sample.substr(0, 200)),
            1u);
  EXPECT_GT(sample.size(), 200u);

  List<QFLocalCanonicalContact> users;
  service->getContactsUsingAppWithLimit(1, [&](const auto& list, auto) { users = list; });
  platform.settle();
  expectObject(
      users->at(2)->canonicalContact()->toDictionary(),
      R"({"id":"p1","full_name":"b","created_at":10,"is_active":true,"contact_metadata":{"k":1},
                   "email":null,"organization_id":null,"phone":null,"avatar_url":null})");
}

TEST_F(RecommendationTest, PeopleOneMightKnowAreSortedByName) {
  EXPECT_EQ(mightKnow(200, R"([{"full_name":"f"},{"id":"1"},{"full_name":"\u00e9"},
                              {"full_name":"Z"},{"full_name":null},{"full_name":"e"}])"),
            "[Z, e, é, f, , <null>]");
}

TEST_F(RecommendationTest, LookupsRunOnTheSpotAndSurviveTheStore) {
  add("a", 1, 0);
  add("b", 0, 1);
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
  EXPECT_EQ(toInvite(200, R"(["a"])"), "[]");
  EXPECT_EQ(
      platform.log->count("error RecommendationService: Exception when fetching contact: broken"),
      1u);
  EXPECT_EQ(platform.log->count("error RecommendationService: Contact store access not authorized"),
            1u);
}

TEST_F(RecommendationTest, ScoresAndReasons) {
  const double day = 86400, now = platform.clock->seconds;
  const struct {
    std::int64_t type;
    std::size_t phones, emails;
    double syncedAt, score;
  } rows[] = {
      {0, 2, 0, 0, 0.6},
      {0, 1, 1, 0, 0.5},
      {0, 3, 1, 0, 1.0},
      {0, 4, 0, 0, 1.0},
      {0, 0, 0, 0, 0.0},
      {0, 0, 1, 5, 0.7},
      {0, 0, 1, -5, 0.2},
      {1, 9, 9, 0, 0.8},
      {1, 0, 0, now, 0.8},
      {1, 0, 0, now - 3 * day, 0.9},
      {1, 0, 0, now - 7 * day, 1.0},
      {1, 0, 0, now + 60 * day, -1.2},
      {2, 1, 1, 0, 1.0},
      {2, 3, 0, 0, 0.85},
      {2, 0, 3, 0, 0.85},
      {2, 0, 0, 0, 0.7},
      {7, 9, 9, 9, 0.0},
      {-1, 1, 1, 0, 0.0},
  };
  for (const auto& row : rows) {
    const auto contact = QFContact::initWithIdentifier("c");
    contact->setPhoneNumbers(PhoneNumbers(row.phones));
    contact->setEmailAddresses(EmailAddresses(row.emails));
    contact->setLastSyncedAt(row.syncedAt);
    EXPECT_DOUBLE_EQ(service->calculateRecommendationScoreForContact(*contact, row.type), row.score)
        << row.type << " " << row.phones << " " << row.emails << " " << row.syncedAt;
    EXPECT_EQ(service->generateRecommendationReasonForContact(*contact, row.type),
              row.type == 1   ? "Already using the app"
              : row.type == 2 ? "You might know this person"
                              : "Based on your mutual connections");
  }
}

}  // namespace
}  // namespace quillfold::testing
