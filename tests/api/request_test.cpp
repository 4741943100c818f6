// What a request sends, where its completion runs, what it keeps alive and what a
// refusal is made of.
#include <cmath>

#include "api/api_config.h"
#include "api/api_error.h"
#include "api/api_response.h"
#include "api/token_response.h"
#include "facade/contact_service.h"
#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

using RequestTest = ApiTest;

const Value kUnwritable = Dictionary{{"n", std::nan("")}};
constexpr auto kIgnore = [](const auto&...) {};

TEST_F(RequestTest, MethodsBodiesAndQueries) {
  const Value body = Dictionary{{"k", "ä/\""}};
  std::string base = "http://localhost:8080";
  const auto expectSent = [&](const std::string& method, const std::string& path, bool withBody) {
    const FakeTask& task = *platform.sessions->tasks.back();
    EXPECT_EQ(task.request().httpMethod, method);
    EXPECT_EQ(task.request().url, base + path);
    EXPECT_EQ(task.json(), withBody ? body : Value(nullptr));
    EXPECT_EQ(task.header("Content-Type") + task.header("Authorization"), "application/json");
  };
  client->get("/a b", {{"limit", "10"}, {"q", "x&y=é"}}, false, kIgnore);
  expectSent("GET", "/a%20b?limit=10&q=x%26y%3D%C3%A9", false);
  client->post("/p", body, {{"l", "1"}}, false, kIgnore);
  expectSent("POST", "/p?l=1", true);
  client->put(QFAPIConfig::contactsEndpoint(), body, {{"l", "2"}}, false, kIgnore);
  expectSent("PUT", "/api/v1/client/contacts?l=2", true);
  client->delete_("/p", {{"l", "3"}}, false, kIgnore);
  expectSent("DELETE", "/p?l=3", false);
  client->checkHealthWithCompletion({});
  expectSent("GET", "/health", false);
  for (const char* method : {"PATCH", "post"}) {
    client->request("/p", method, body, {}, false, kIgnore);
    expectSent(method, "/p", false);
  }
  EXPECT_EQ(QFAPIConfig::apiBaseForEnvironment(-1), base);
  // The environment counts from the next request on; development was the default.
  base = "https://api.quillfold.example";
  EXPECT_EQ(QFAPIConfig::apiBaseForEnvironment(QFAPIEnvironmentStaging), base);
  QFAPIConfig::configureForCurrentEnvironment();
  client->get("/p", {}, false, kIgnore);
  expectSent("GET", "/p", false);
  EXPECT_EQ(platform.sessions->configurations.at(0).timeoutIntervalForResource, 60);
  EXPECT_EQ(platform.sessions->configurations.at(0).timeoutIntervalForRequest, 60);
  platform.settle();
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
  EXPECT_EQ(logged("\xff").size(), 5u) << "an answer that is no text is not shown";
  EXPECT_TRUE(platform.log->lines().back().starts_with("[SOCIAL] /x JSON parsing error: "));
  platform.log->silent = true;
  EXPECT_TRUE(logged(fits).empty()) << "nobody wants a line";
}

TEST_F(RequestTest, UnwritableBodiesFailWhereTheyAreFound) {
  for (const bool auth : {false, true}) {
    const auto outcome = run<std::optional<Value>>(
        [&](auto done) { client->post("/x", kUnwritable, {}, auth, done); });
    EXPECT_EQ(outcome.end(), kUnreadable);
    EXPECT_EQ(outcome.place, auth ? Place::MainQueue : Place::Caller);
  }
  EXPECT_EQ(platform.sessions->count("/x"), 0u);
}

// The client is let go of while its request runs, or by the completion.
TEST_F(RequestTest, AReleasedClientEndsWithItsLastRequest) {
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
    for (const bool early : {false, true}) {
      const auto owner = std::make_shared<std::shared_ptr<QFAPIClient>>();
      *owner = QFAPIClient::initWithUserId("U");
      (*owner)->setContactService(QFContactService::sharedInstance());
      if (!early) (*owner)->refreshTokenWithCompletionHandler(kIgnore);
      platform.settle();
      const std::weak_ptr<QFAPIClient> released = *owner;
      const int before = ends;
      call(**owner, [owner, &ends] {
        owner->reset();
        ++ends;
      });
      if (early) owner->reset();
      EXPECT_EQ(released.expired(), ends > before);
      platform.settle();
      EXPECT_TRUE(released.expired());
      EXPECT_EQ(ends, before + 1);
    }
  }
}

// What a completion holds is released behind it, on the main queue.
TEST_F(RequestTest, ACompletionIsLetGoOnTheMainQueue) {
  std::vector<Place> places;
  std::shared_ptr<void> held(&places, [](void* seen) {
    static_cast<std::vector<Place>*>(seen)->push_back(FakePlatform::place());
  });
  // The answer is made up, and called back, on the session's thread.
  answers[kSourcePath] = {500, "duplicate key value violates unique constraint"};
  client->setContactService(QFContactService::sharedInstance());
  client->createContactSourceWithName("N", 4, [held = std::move(held)](const auto&...) {});
  platform.settle();
  EXPECT_EQ(places, std::vector{Place::MainQueue});
}

// A session with one task of each kind.
class ThreeKinds : public NSURLSession {
 public:
  struct Task : NSURLSessionTask {
    void resume() override {}
    void cancel() override { ++cancelled; }
    int cancelled = 0;
  };
  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest,
                                                        URLCompletion) override {
    return tasks[0];
  }
  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) override {
    handler({{tasks[0]}, {tasks[1]}, {tasks[2]}});
  }
  const std::array<std::shared_ptr<Task>, 3> tasks = {
      std::make_shared<Task>(), std::make_shared<Task>(), std::make_shared<Task>()};
};

TEST_F(RequestTest, CancellingReachesTasksOfEveryKindOfThisClientAlone) {
  const auto session = std::make_shared<ThreeKinds>();
  QFAPIClient::initWithUserId("V")->get("/other", {}, false, kIgnore);
  client->setSession(session);
  client->cancelAllRequests();
  for (const auto& task : session->tasks)
    EXPECT_EQ(task->cancelled, 1);
  EXPECT_TRUE(platform.log->contains("Cancelled 3 pending API requests"));
  EXPECT_FALSE(platform.sessions->last("/other")->ended);
}

TEST_F(RequestTest, AStopEndsTheRequestsToComeAsWell) {
  std::stop_source stop;
  stop.request_stop();
  const auto outcome = run<std::int64_t>([&](auto done) {
    client->syncContacts({}, true, done, {.stop = stop.get_token(), .onUpload = {}});
  });
  EXPECT_EQ(outcome.end(), "4 Network error: cancelled");
}

TEST_F(RequestTest, RecordsHoldWhatTheyAreGiven) {
  const auto token = QFTokenResponse::initWithToken("t", 7);
  const auto answer = QFAPIResponse::initWithStatus("s", "m", Value(nullptr));
  EXPECT_EQ(token->token() + *answer->status() + *answer->message(), "tsm");
  EXPECT_TRUE(token->expiresAt() == 7 && answer->data() == Value(nullptr));
}

TEST_F(RequestTest, EveryFormOfFailure) {
  struct Row {
    std::int64_t status;
    std::string body;
    Value message;    // Under "message" in the user info.
    std::string log;  // Empty for none.
  };
  const Row rows[] = {
      {400, R"({"message":42,"detail":"x"})", 42, "⚠️ Server error (400): 42"},
      {400, R"({"message":null,"detail":"x"})", nullptr, "⚠️ Server error (400): <null>"},
      {400, R"({"error":"e","detail":"d"})", "d", "⚠️ Server error (400): d"},
      {402, R"({"error_message":"m","error":"e"})", "e", "⚠️ Server error (402): e"},
      {401, R"({"detail":[1],"errorMessage":"m","error_message":"e","error":5})", "e",
       "⚠️ Server error (401): e"},
      {422, R"({"detail":[1]})", "Error with data: {detail: [1]}",
       "⚠️ Server error (422) with JSON: {detail: [1]}"},
      {400, "[1]", "Raw response: [1]", "⚠️ Server error (400): Raw response: [1]"},
      {599, "\xc3", "Server error", ""},
  };
  for (const Row& row : rows) {
    platform.log->clear();
    const ErrorPtr error = QFAPIClient::handleErrorResponseWithData(row.body, row.status);
    const std::string text =
        "Server error " + std::to_string(row.status) + ": " + row.message.description();
    EXPECT_EQ(error->domain() + std::to_string(error->code()), "com.quillfold.api3");
    EXPECT_EQ(error->userInfo(), (Dictionary{{NSLocalizedDescriptionKey, text},
                                             {"statusCode", row.status},
                                             {"message", row.message}}));
    EXPECT_EQ(platform.log->lines(), std::vector(row.log.empty() ? 0u : 1u, row.log));
  }
  EXPECT_EQ(QFAPIError::errorWithCode(3, "Boom")->localizedDescription(), "Boom");
  EXPECT_EQ(description(QFAPIError::serverErrorWithStatusCode(500, std::nullopt)->userInfo()),
            R"({NSLocalizedDescription: "Server error 500", message: "", statusCode: 500})");
  std::string texts;
  for (std::int64_t code = -1; code <= 11; ++code) {
    texts += QFAPIError::localizedDescriptionForErrorCode(code, {}, "m") + "; ";
  }
  EXPECT_EQ(
      texts,
      "An unknown error occurred; Invalid URL request; No data received from the server; "
      "Error decoding the server response; Server error; Network error: m; Unauthorized "
      "request; Authentication token has expired; An unknown error occurred; Invalid response "
      "from server; Invalid API key; Validation failed: m; An unknown error occurred; ");
  std::string codes;
  for (const auto made :
       {QFAPIError::invalidURLError, QFAPIError::noDataError, QFAPIError::decodingError,
        QFAPIError::unauthorizedError, QFAPIError::tokenExpiredError, QFAPIError::unknownError})
    codes += std::to_string(made()->code());
  EXPECT_EQ(codes, "012567");
}

}  // namespace
}  // namespace quillfold::testing
