// What each call of the social service sends, and what it makes of each answer.
#include "api/api_client.h"
#include "social/social_service.h"
#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

std::string shown(const QFPaginatedMutualFollowers& list) {
  return fmt::format("{} people of {}", list.items().size(), list.total());
}
template <typename Record>
std::string shown(const Record& record) {
  return description(record.toDictionary());
}

class SocialCallsTest : public SocialTest {
 protected:
  struct Call {
    std::function<std::string(std::int64_t status, std::string body)> end;
    std::string request;
    // The ends with an object and with an array.
    std::string ofObject, ofArray;
    // Whether the answer is taken as it is, envelope and all.
    bool isList;
  };

  template <typename Record, typename Start>
  Call call(Start start, std::string request, std::string ofObject, std::string ofArray = "nothing",
            bool isList = false) {
    const auto run = [this, start](std::int64_t answer, std::string text) {
      return end<std::shared_ptr<Record>>(answer, std::move(text), start,
                                          [](const auto& record) { return shown(*record); });
    };
    return {run, std::move(request),
            json(ofObject).isNull() ? ofObject : json(ofObject).description(), std::move(ofArray),
            isList};
  }

  std::vector<Call> calls();
  const std::shared_ptr<QFSocialService> service = facade->socialService();
};

const char* const kFollowAction =
    R"({"already_following":false,"message":"M","success":true,"was_following":false})";
const char* const kEventAction =
    R"({"created":false,"deleted":false,"message":"M","success":true,"updated":false})";
const char* const kEmptyPage = R"({"data":[],"limit":0,"skip":0,"total":3})";
const char* const kInvalid = "QFSocialService 1001 Invalid response format";

std::vector<SocialCallsTest::Call> SocialCallsTest::calls() {
  using Event = QFPaginatedEventList;
  const auto update = QFUpdateEventRequest::init();
  update->setIsPublic(false);
  const auto create = QFCreateEventRequest::initWithEventType("E", "T", {}, {}, {}, {}, {}, false);
  return {
      call<QFFollowActionResponse>([this](auto done) { service->followUser("a/b", done); },
                                   R"(POST follow Bearer T {user_id: "a/b"})", kFollowAction),
      call<QFFollowActionResponse>([this](auto done) { service->unfollowUser("a/b", done); },
                                   "DELETE unfollow/a/b Bearer T ", kFollowAction),
      call<QFFollowStatusResponse>([this](auto done) { service->isFollowingUser("a", done); },
                                   "GET is-following/a Bearer T ", R"({"is_following":false})"),
      call<QFPaginatedFollowList>(
          [this](auto done) { service->getFollowersWithUserId({}, -1, 0, done); },
          "GET followers?limit=0&skip=-1 Bearer T ", kEmptyPage, kInvalid, true),
      call<QFPaginatedFollowList>(
          [this](auto done) { service->getFollowingWithUserId("u", 5, 20, done); },
          "GET following?limit=20&skip=5&user_id=u Bearer T ", kEmptyPage, kInvalid, true),
      call<QFPaginatedMutualFollowers>(
          [this](auto done) { service->getMutualFollowsWithSkip(5, 20, done); },
          "GET mutual-follows?limit=20&skip=5 Bearer T ", "0 people of 3", kInvalid, true),
      call<QFEventActionResponse>(
          [this, create](auto done) { service->createEvent(create, done); },
          R"(POST events Bearer T {event_type: "E", is_public: false, title: "T"})", kEventAction),
      call<QFSocialEvent>([this](auto done) { service->getEvent("e", done); },
                          "GET events/e Bearer T ", R"({"is_public":false})"),
      call<QFEventActionResponse>(
          [this, update](auto done) { service->updateEvent("e", update, done); },
          "PUT events/e Bearer T {is_public: false}", kEventAction),
      call<QFEventActionResponse>([this](auto done) { service->deleteEvent("e", done); },
                                  "DELETE events/e Bearer T ", kEventAction),
      call<Event>([this](auto done) { service->getUserEventsWithUserId("u", 1, 2, done); },
                  "GET events?limit=2&skip=1&user_id=u Bearer T ", kEmptyPage, "nothing", true),
      call<Event>([this](auto done) { service->getUserEventsWithUserId({}, 1, 2, done); },
                  "GET events?limit=2&skip=1 Bearer T ", kEmptyPage, "nothing", true),
      call<Event>([this](auto done) { service->getFeedWithSkip(1, 2, done); },
                  "GET feed?limit=2&skip=1 Bearer T ", kEmptyPage, "nothing", true),
      call<Event>([this](auto done) { service->getUpcomingEventsWithSkip(1, 2, done); },
                  "GET upcoming-events?limit=2&skip=1 Bearer T ", kEmptyPage, "nothing", true),
      call<Event>([this](auto done) { service->getForYouFeedWithSkip(1, 2, done); },
                  "GET for-you?limit=2&skip=1 Bearer T ", kEmptyPage, "nothing", true),
  };
}

TEST_F(SocialCallsTest, EveryAnswerOfEveryCall) {
  const std::string content = R"({"message":"M","success":true,"total":3})";
  for (const Call& call : calls()) {
    SCOPED_TRACE(call.request);
    EXPECT_EQ(call.end(200, content), call.ofObject);
    std::string sent = lastRequest();
    sent.erase(sent.find("/api/v1/social/"), 15);
    EXPECT_EQ(sent, call.request);
    EXPECT_EQ(call.end(200, "[1]"), call.ofArray);
    // No envelope is opened for a list: its "data" is what stands there.
    const std::string wrapped = R"({"status":"error","total":3,"data":)";
    EXPECT_EQ(call.end(200, wrapped + (call.isList ? "7}" : content + "}")), call.ofObject);
    EXPECT_EQ(call.end(200, wrapped + "null}"), call.isList ? call.ofObject : "nothing");
    EXPECT_EQ(call.end(200, "plain"), std::string(call.isList ? kUnreadable : "nothing"));
    EXPECT_EQ(call.end(204, ""), kUnreadable);
    EXPECT_THAT(call.end(500, R"({"message":"down"})"), ::testing::EndsWith("down"));
  }
  // Also with nobody who wants to know.
  service->followUser("a", {});
  service->getFollowersWithUserId({}, 0, 1, {});
  platform.settle();
}

}  // namespace
}  // namespace quillfold::testing
