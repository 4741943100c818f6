// The six ways in which the client reads an answer, side by side. Each is a little
// different on purpose.
#include <gmock/gmock.h>

#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

class ResponsePathsTest : public ApiTest {
 protected:
  struct Path {
    const char* endpoint;
    // Makes the call with a new client. The code of the error, or what came; with a
    // star where the completion did not run on the main queue.
    std::function<std::string()> end;
  };

  static std::string told(const std::optional<Value>& result) { return result->description(); }
  static std::string told(const OptionalString& token) { return "token " + *token; }
  static std::string told(const std::optional<Dictionary>& user) { return description(*user); }
  static std::string told(const QFContactSourcePtr& s) { return s->identifier().description(); }
  static std::string told(std::int64_t count) { return std::to_string(count); }

  // The code of the error underneath the last error, or 0.
  std::int64_t underlying = 0;

  template <typename Result, typename Call>
  Path path(const char* endpoint, Call call) {
    return {endpoint, [this, call] {
              client = QFAPIClient::initWithUserId("U");
              platform.defaults->setObject("SAVED", defaults_keys::kSourceId);
              const auto outcome = run<Result>(call);
              const ErrorPtr cause = outcome.error ? outcome.error->underlyingError() : nullptr;
              underlying = cause ? cause->code() : 0;
              return (outcome.place == Place::MainQueue ? "" : "*") +
                     (outcome.error ? outcome.end().substr(0, 1) : told(outcome.result));
            }};
  }

  const std::vector<Path> paths = {
      path<std::optional<Value>>("/x", [this](auto d) { client->put("/x", Array(), {}, true, d); }),
      path<std::optional<Value>>("/x", [this](auto d) { client->getSocialData("/x", {}, d); }),
      path<OptionalString>(kTokenPath,
                           [this](auto d) { client->refreshTokenWithCompletionHandler(d); }),
      path<std::optional<Dictionary>>(
          kUserPath, [this](auto d) { client->getUserInfoWithCompletionHandler(d); }),
      path<QFContactSourcePtr>(kSourcePath,
                               [this](auto d) { client->createContactSourceWithName("N", 4, d); }),
      path<std::int64_t>(kSyncPath, [this](auto d) { client->syncContacts({}, true, d); }),
  };
};

TEST_F(ResponsePathsTest, EveryAnswerOnEveryPath) {
  const char* const rich =
      R"({"status":0,"data":{"token":"t","expires_at":"9e9","id":"I","processed_count":"7"}})";
  const char* const duplicate = "contact_sources_organization_id_canonical_contact_id_source_key";
  const std::tuple<std::int64_t, const char*, const char*> rows[] = {
      {302, rich, "data, whole, token t, whole, I, 7"},
      {200, R"({"status":1})", "whole, whole, 1, whole, 1, 1"},
      {200, R"({"data":{"id":"<5>"}})", "whole, whole, 2, whole, <5>, 2"},
      {200, R"({"status":"error","data":null})", "data, whole, 2, whole, UUID, 2"},
      {200, "[1]", "whole, whole, 1, 2, 1, 1"},
      {200, "plain", "<5 bytes>, 2, 2, 2, 2, 2"},
      {204, "", "2, 2, 2, 2, 2, 2"},
      {401, "", "5, 5, 5, 5, 5, 5"},
      {403, "", "6, 6, 6, 6, 6, 6"},
      {422, R"({"detail":[{"msg":"m"}]})", "3, 3, 3, 3, 3, 3"},
      {500, duplicate, "3, 3, 3, 3, *3, 3"},
      {501, duplicate, "3, 3, 3, 3, 3, 3"},
  };
  for (const auto& [status, body, expected] : rows) {
    const Value whole = json(body);
    const Value* data = whole.isDictionary() ? find(*whole.asDictionary(), "data") : nullptr;
    std::string ends;
    for (const Path& path : paths) {
      answers = {{path.endpoint, {status, body}}};
      std::string end = path.end();
      if (end.size() == 36 && end[14] == '4') end = "UUID";
      if (end == whole.description()) end = "whole";
      if (data != nullptr && end == data->description()) end = "data";
      ends += (ends.empty() ? "" : ", ") + end;
    }
    EXPECT_EQ(ends, expected) << body;
  }
  // A request that waits for a token ends with the token's failure, unsent.
  answers = {{kTokenPath, {401, ""}}};
  const std::size_t before = platform.sessions->tasks.size();
  for (const Path& path : paths)
    EXPECT_EQ(path.end(), "5");
  EXPECT_EQ(platform.sessions->tasks.size(), before + paths.size());
}

TEST_F(ResponsePathsTest, HeadersAndLogsOfEveryPath) {
  const std::string body = R"({"data":{"token":"t","expires_at":1,"processed_count":0,"id":"I"}})";
  const std::string whole = "Server response: " + body;
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"PUT application/json Bearer T",
       {"[PUT] Starting request to /x", "[PUT] /x response status: 200",
        "[PUT] /x response preview: " + body}},
      {"GET application/json Bearer T",
       {"[SOCIAL] Starting request to /x", "[SOCIAL] /x Response: " + body,
        "[SOCIAL] /x response status: 200"}},
      {"POST application/json ", {}},
      {"GET  Bearer T", {}},
      {"POST application/json Bearer T", {whole, "✅ Saved source ID to UserDefaults: I"}},
      {"POST application/json Bearer T",
       {"Using saved source ID for sync: SAVED",
        "Preparing to sync 0 contacts with source ID: SAVED", "Sample contact data: (null)",
        "Syncing contacts with request structure (first 1000 chars): "
        R"({"contacts":[],"skip_duplicates":true})",
        whole, "Successfully synced 0 contacts"}},
  };
  for (std::size_t i = 0; i < paths.size(); ++i) {
    answers = {{paths[i].endpoint, {200, body}}};
    platform.log->clear();
    paths[i].end();
    EXPECT_EQ(platform.log->lines(), rows[i].second);
    const FakeTask& task = *platform.sessions->last(paths[i].endpoint);
    EXPECT_EQ(task.request().httpMethod + " " + task.header("Content-Type") + " " +
                  task.header("Authorization"),
              rows[i].first);
  }
}

TEST_F(ResponsePathsTest, CancellingEndsEveryRequestOnce) {
  answers = {{"/other", {0, ""}}};
  const auto other = QFAPIClient::initWithUserId("V");
  other->get("/other", {}, false, [](const auto&...) { FAIL() << "of another client"; });
  const auto respond = platform.sessions->respond;
  for (const Path& path : paths) {
    platform.sessions->respond = [&](FakeTask& task) {
      if (task.path() != path.endpoint) return respond(task);
      client->cancelAllRequests();
      client->cancelAllRequests();
    };
    EXPECT_EQ(path.end(), "4");
    EXPECT_EQ(underlying, -999);
  }
  EXPECT_EQ(platform.log->count("Cancelled 1 pending API requests"), paths.size());
  EXPECT_TRUE(platform.log->contains("[PUT] /x network error: cancelled"));
  EXPECT_TRUE(platform.log->contains("[SOCIAL] /x network error: cancelled"));
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

TEST_F(ResponsePathsTest, CancellingReachesTasksOfEveryKind) {
  const auto session = std::make_shared<ThreeKinds>();
  client->setSession(session);
  client->cancelAllRequests();
  for (const auto& task : session->tasks)
    EXPECT_EQ(task->cancelled, 1);
  EXPECT_TRUE(platform.log->contains("Cancelled 3 pending API requests"));
}

TEST_F(ResponsePathsTest, NoSecretReachesTheLog) {
  const std::pair token(200, R"({"data":{"token":"BEARER-SECRET","expires_at":9999999999}})");
  for (const std::int64_t status : {200, 401, 500}) {
    for (const Path& path : paths) {
      answers = {{path.endpoint, {status, "no"}}, {kTokenPath, token}};
      path.end();
    }
    client->validateAPIKey("KEY-SECRET", "HOST-SECRET",
                           QFUserInfo::initWithUserId("u", {}, "a@b.c", {}), {});
    platform.settle();
  }
  EXPECT_EQ(platform.sessions->tasks.back()->header("Authorization"), "Bearer BEARER-SECRET");
  using namespace ::testing;
  EXPECT_THAT(platform.log->lines(), AllOf(SizeIs(Gt(20)), Each(Not(HasSubstr("SECRET")))));
}

}  // namespace
}  // namespace quillfold::testing
