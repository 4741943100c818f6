// What a request sends, where its completion runs and what it keeps alive.
#include <cmath>

#include "api/api_config.h"
#include "core/contact_service.h"
#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

using RequestTest = ApiTest;
using Request = Outcome<std::optional<Value>>;

const Value kUnwritable = Dictionary{{"n", std::nan("")}};
constexpr auto kIgnore = [](const auto&...) {};

TEST_F(RequestTest, MethodsBodiesAndQueries) {
  const Value body = Dictionary{{"k", "ä/\""}};
  const auto expectSent = [&](const std::string& method, const std::string& path, bool withBody) {
    const FakeTask& task = *platform.sessions->tasks.back();
    EXPECT_EQ(task.request().httpMethod, method);
    EXPECT_EQ(task.request().url, QFAPIConfig::baseURL() + path);
    EXPECT_EQ(task.json(), withBody ? body : Value(nullptr));
    EXPECT_EQ(task.header("Content-Type") + task.header("Authorization"), "application/json");
  };
  client->get("/a b", {{"limit", "10"}, {"q", "x&y=é"}}, false, kIgnore);
  expectSent("GET", "/a%20b?limit=10&q=x%26y%3D%C3%A9", false);
  client->post("/p", body, {{"l", "1"}}, false, kIgnore);
  expectSent("POST", "/p?l=1", true);
  client->put("/p", body, {}, false, kIgnore);
  expectSent("PUT", "/p", true);
  client->delete_("/p", {}, false, kIgnore);
  expectSent("DELETE", "/p", false);
  for (const char* method : {"PATCH", "post"}) {
    client->request("/p", method, body, {}, false, kIgnore);
    expectSent(method, "/p", false);
  }
  // The environment counts from the next request on.
  EXPECT_EQ(QFAPIConfig::baseURL(), "http://localhost:8080");
  QFAPIConfig::configureForCurrentEnvironment();
  client->get("/p", {}, false, kIgnore);
  expectSent("GET", "/p", false);
  const std::string live = QFAPIConfig::baseURL();
  for (const std::int64_t environment : {-1, 0, 1, 2, 3}) {
    QFAPIConfig::configureWithEnvironment(environment);
    EXPECT_EQ(QFAPIConfig::baseURL() == live, environment == 1 || environment == 2);
  }
  EXPECT_EQ(platform.sessions->configurations.at(0).timeoutIntervalForResource, 60);
}

TEST_F(RequestTest, LogsShortPreviewsAndWholeSocialAnswers) {
  const auto logged = [this](const std::string& body) {
    answers = {{"/x", {200, body}}};
    platform.log->clear();
    client->get("/x", {}, false, kIgnore);
    client->getSocialData("/x", {}, kIgnore);
    platform.settle();
    return platform.log->lines();
  };
  // An emoji counts two.
  const std::string fits = std::string(498, 'a') + "😀";
  EXPECT_EQ(logged(fits).at(2), "[GET] /x response preview: " + fits);
  EXPECT_EQ(logged(fits + "b").at(3), "[GET] /x response preview: " + fits + "...");
  EXPECT_EQ(logged(fits + "b").at(4), "[SOCIAL] /x Response: " + fits + "b");
  const auto noText = logged("\xff");
  EXPECT_EQ(noText.size(), 5u) << "an answer that is no text is not shown";
  EXPECT_TRUE(noText.back().starts_with("[SOCIAL] /x JSON parsing error: "));
  EXPECT_TRUE(logged("").at(4).starts_with("[GET] /x JSON parsing error: "));
}

TEST_F(RequestTest, UnwritableBodiesFailWhereTheyAreFound) {
  Request bare, fetched, cached;
  client->post("/x", kUnwritable, {}, false, bare.capture());
  client->post("/x", kUnwritable, {}, true, fetched.capture());
  EXPECT_EQ(fetched.calls, 0);
  platform.settle();
  client->post("/x", kUnwritable, {}, true, cached.capture());
  for (const Request* outcome : {&bare, &fetched, &cached}) {
    EXPECT_EQ(outcome->end(), kUnreadable);
    EXPECT_EQ(outcome->place, outcome == &fetched ? Place::MainQueue : Place::Caller);
  }
  EXPECT_EQ(platform.sessions->count("/x"), 0u);
}

TEST_F(RequestTest, AReleasedClientFinishesItsRequests) {
  Request outcome;
  answers["/x"] = {0, ""};
  client->get("/x", {}, true, outcome.capture());
  const std::weak_ptr<QFAPIClient> released = client;
  client.reset();
  platform.settle();
  EXPECT_FALSE(released.expired());
  platform.sessions->last("/x")->answer(200, "{}");
  platform.settle();
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_EQ(outcome.end(), "ok");
  EXPECT_TRUE(released.expired());
}

// The completion lets go of the only reference to the client.
TEST_F(RequestTest, ACompletionMayReleaseItsOwner) {
  using Done = std::function<void()>;
  const auto by = [](const Done& done) { return [done](const auto&...) { done(); }; };
  const std::function<void(QFAPIClient&, Done)> calls[] = {
      [&](auto& api, auto done) { api.get("/x", {}, true, by(done)); },
      [&](auto& api, auto done) { api.put("/x", kUnwritable, {}, true, by(done)); },
      [&](auto& api, auto done) { api.getSocialData("/x", {}, by(done)); },
      [&](auto& api, auto done) { api.refreshTokenWithCompletionHandler(by(done)); },
      [&](auto& api, auto done) { api.checkHealthWithCompletion(by(done)); },
      [&](auto& api, auto done) { api.validateAPIKey("", {}, {}, by(done)); },
      [&](auto& api, auto done) { api.syncContacts({}, true, by(done)); },
      [&](auto& api, auto done) { api.getExistingContactSourceWithSourceType(4, by(done)); },
  };
  int ends = 0;
  for (const auto& call : calls) {
    for (const bool withToken : {false, true}) {
      const auto owner = std::make_shared<std::shared_ptr<QFAPIClient>>();
      *owner = QFAPIClient::initWithUserId("U");
      (*owner)->setContactService(QFContactService::sharedInstance());
      if (withToken) (*owner)->refreshTokenWithCompletionHandler(kIgnore);
      platform.settle();
      const std::weak_ptr<QFAPIClient> released = *owner;
      call(**owner, [owner, &ends] {
        owner->reset();
        ++ends;
      });
      platform.settle();
      EXPECT_TRUE(released.expired());
    }
  }
  EXPECT_EQ(ends, 16);
}

}  // namespace
}  // namespace quillfold::testing
