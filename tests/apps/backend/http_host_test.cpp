// The server as such: hostile requests, limits, misbehaviour, stopping.
#include <chrono>
#include <future>
#include <thread>

#include "tests/apps/backend/backend_fixture.h"

namespace quillfold::backend {
namespace {

using namespace std::chrono_literals;
using namespace ::testing;

constexpr const char* kHealthRequest = "GET /health HTTP/1.1\r\nHost: x\r\n\r\n";

TEST_F(BackendTest, AnswersUnknownPathsAndMethodsInJson) {
  EXPECT_EQ(get("/nowhere").status, 404);
  EXPECT_EQ(get("/health/").status, 404);
  EXPECT_EQ(get("/" + std::string(5000, 'a')).status, 404);
  const Reply wrong = get(kSyncPath);
  EXPECT_EQ(wrong.status, 405);
  EXPECT_EQ(wrong.headers.find("Allow")->second, "POST");
  EXPECT_EQ(wrong.body()["message"], "Method not allowed");
  EXPECT_EQ(postText("/health", "{}").status, 405);
  EXPECT_EQ(get("/health?x=%00&y").status, 200);
}

TEST_F(BackendTest, RefusesBodiesThatAreNoJsonObject) {
  const std::string deep(100000, '[');
  const std::string bad[] = {"",         "nothing",          "[]",           "null",
                             "{\"a\":}", "{\"a\":\"\xff\"}", "{} {}",        "{\"a\":\"\\ud800\"}",
                             deep,       "{\"a\":" + deep,   "{\"a\":1e999}"};
  for (const std::string& body : bad) {
    const Reply reply = postText(kTokenPath, body);
    EXPECT_EQ(reply.status, 422) << body.substr(0, 20);
    EXPECT_EQ(reply.body()["detail"][0]["loc"][0], "body") << reply.text;
  }
  const std::string good = tokenRequest().dump();
  for (const char* type : {"text/plain", "multipart/form-data; boundary=x", "application/jsonx",
                           "application/x-www-form-urlencoded"}) {
    EXPECT_EQ(postText(kTokenPath, good, type).status, 415) << type;
  }
  EXPECT_EQ(postText(kTokenPath, good, "Application/JSON; charset=utf-8").status, 200);
}

TEST_F(BackendTest, BoundsBodiesHoweverTheyAreFramed) {
  constexpr std::size_t kTooLarge = 64 * 1024 * 1024 + 1;
  EXPECT_EQ(postText(kTokenPath, std::string(kTooLarge, ' ')).status, 413);
  const std::string piece(1 << 20, ' ');
  std::size_t sent = 0;
  const auto chunked = client().Post(
      kTokenPath,
      [&](std::size_t, httplib::DataSink& sink) {
        sink.write(piece.data(), piece.size());
        if ((sent += piece.size()) > kTooLarge) sink.done();
        return true;
      },
      "application/json");
  ASSERT_TRUE(chunked);
  EXPECT_EQ(chunked->status, 413);
  EXPECT_EQ(get("/health").status, 200) << "The connection is still in step.";
  client().set_compress(true);
  EXPECT_EQ(postText(kTokenPath, std::string(kTooLarge, ' ')).status, 413);
  EXPECT_EQ(post(kTokenPath, tokenRequest()).status, 200);
}

TEST_F(BackendTest, SurvivesWhatIsNoHttp) {
  const std::string bad[] = {
      "nonsense\r\n\r\n",
      "GET /health\r\n\r\n",
      "FETCH / HTTP/1.1\r\n\r\n",
      "POST /health HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nabc\r\n",
      "GET /" + std::string(9000, 'a') + " HTTP/1.1\r\n\r\n",
      "GET /health HTTP/1.1\r\nA: " + std::string(9000, 'a') + "\r\n\r\n",
      "GET /health HTTP/1.1\r\nRange: bytes=9-1\r\n\r\n",
  };
  for (const std::string& bytes : bad) {
    EXPECT_THAT(RawConnection(server().port(), bytes).readAll(), StartsWith("HTTP/1.1 4"))
        << bytes.substr(0, 60);
  }
  EXPECT_EQ(client().Get("/health", {{"Range", "bytes=0-1"}})->body, R"({"status":"success"})");
  EXPECT_THAT(server().requests(),
              Each(Field(&LoggedRequest::path, Not(ContainsRegex("[ \r\n]")))));
}

TEST_F(BackendTest, TakesRequestsOfOneConnectionInTurnBesideManyIdleOnes) {
  std::vector<RawConnection> idle;
  for (int i = 0; i < 100; ++i)
    idle.emplace_back(server().port());
  // A body without a length is none; waiting for one would stall the next request.
  std::string requests = "DELETE /_dev/misbehave HTTP/1.1\r\nHost: x\r\n\r\n";
  for (int i = 0; i < 200; ++i)
    requests += kHealthRequest;
  requests += "GET /health HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
  const std::string answers = RawConnection(server().port(), requests).readAll();
  std::size_t count = 0;
  for (std::size_t at = 0; (at = answers.find("HTTP/1.1 200", at)) != std::string::npos; ++at)
    ++count;
  EXPECT_EQ(count, 202U);
  EXPECT_THAT(server().requests(), SizeIs(202));
}

TEST_F(BackendTest, MisbehavesOnOnePathForAsLongAsTold) {
  signIn();
  const auto tell = [&](const json& what) { return post("/_dev/misbehave", what).status; };
  ASSERT_EQ(tell({{"path", kUserPath}, {"kind", "status"}, {"status", 503}, {"times", 2}}), 200);
  for (int i = 0; i < 2; ++i) {
    const Reply reply = get(kUserPath);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body()["status"], "error");
  }
  EXPECT_EQ(get(kUserPath).status, 200);

  tell({{"path", "/health"}, {"kind", "status"}, {"body", "plain words"}});
  EXPECT_EQ(get("/health").text, "plain words");
  EXPECT_EQ(get(kUserPath).status, 200) << "Other paths behave.";
  tell({{"path", "/health"}, {"kind", "empty"}, {"status", 401}});
  EXPECT_EQ(get("/health").status, 401);
  EXPECT_EQ(get("/health").text, "");
  tell({{"path", "/health"}, {"kind", "garbage"}});
  EXPECT_EQ(get("/health").status, 200);
  EXPECT_TRUE(get("/health").body().is_discarded());
  tell({{"path", "/health"}, {"kind", "delay"}, {"milliseconds", 60}, {"times", 1}});
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(get("/health").status, 200);
  EXPECT_GE(std::chrono::steady_clock::now() - began, 60ms);
  EXPECT_EQ(get("/health").body()["status"], "success");

  server().setMisbehaviour("/health", {.kind = MisbehaviourKind::kGarbage});
  server().setMisbehaviour(kUserPath, {.kind = MisbehaviourKind::kGarbage});
  EXPECT_TRUE(client().Delete("/_dev/misbehave?path=/health"));
  EXPECT_EQ(get("/health").body()["status"], "success");
  EXPECT_TRUE(get(kUserPath).body().is_discarded());
  EXPECT_TRUE(client().Delete("/_dev/misbehave"));
  EXPECT_EQ(get(kUserPath).body()["user_id"], "u1");

  const json bad[] = {{{"path", "/health"}, {"kind", "lie"}},
                      {{"path", "/health"}, {"kind", "status"}, {"status", 99}},
                      {{"path", "/health"}, {"kind", "delay"}, {"milliseconds", 600001}},
                      {{"path", "/health"}, {"kind", "drop"}, {"times", -1}}};
  for (const json& what : bad)
    EXPECT_EQ(tell(what), 400) << what;
  EXPECT_EQ(tell({{"kind", "drop"}}), 422);
}

TEST_F(BackendTest, LosesAnswersOfRequestsThatItCarriedOut) {
  signIn();
  server().setMisbehaviour(kSyncPath, {.kind = MisbehaviourKind::kDrop, .times = 1});
  EXPECT_EQ(sync({uploadContact("c1")}).status, 0);
  EXPECT_EQ(server().contactCount(), 1u);
  EXPECT_EQ(server().requests().back().status, 0);
  server().setMisbehaviour(kSyncPath, {.kind = MisbehaviourKind::kTruncate, .times = 1});
  EXPECT_EQ(sync({uploadContact("c2")}).status, 0);
  EXPECT_EQ(server().contactCount(), 2u);
  EXPECT_EQ(sync({uploadContact("c2")}, true).body()["data"]["skipped_count"], 1);

  server().setMisbehaviour("/health", {.kind = MisbehaviourKind::kDrop, .times = 1});
  EXPECT_EQ(RawConnection(server().port(), kHealthRequest).readAll(), "");
  server().setMisbehaviour("/health", {.kind = MisbehaviourKind::kTruncate});
  EXPECT_THAT(RawConnection(server().port(), kHealthRequest).readAll(),
              AllOf(HasSubstr("Content-Length: 20\r\n"), EndsWith("\r\n\r\n{\"status\":")));
}

TEST_F(BackendTest, StopsAtOnceWithConnectionsInEveryState) {
  RawConnection silent(server().port());
  RawConnection halfway(server().port(), "POST /health HTTP/1.1\r\nContent-Length: 9\r\n");
  server().setMisbehaviour("/slow", {.kind = MisbehaviourKind::kDelay, .delay = 5min});
  RawConnection waiting(server().port(), "GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(get("/health").status, 200) << "The client keeps its connection.";
  const auto stopped = std::async(std::launch::async, [&] { server().stop(); });
  EXPECT_EQ(stopped.wait_for(2s), std::future_status::ready);
  stopped.wait();
  EXPECT_EQ(halfway.readAll().find("200"), std::string::npos);
  EXPECT_THROW(RawConnection(server().port()), std::runtime_error);
  server().stop();
}

TEST_F(BackendTest, ServesManyAtOnce) {
  constexpr int kClients = 50;
  constexpr int kBatches = 3;
  const int port = server().port();
  std::vector<std::jthread> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([port, i] {
      httplib::Client client("127.0.0.1", port);
      client.set_keep_alive(true);
      const json request = tokenRequest("u" + std::to_string(i));
      const auto answer = client.Post(kTokenPath, request.dump(), "application/json");
      const auto token = json::parse(answer->body)["data"]["token"].get<std::string>();
      for (int batch = 0; batch < kBatches; ++batch) {
        const json body = {{"contacts", {uploadContact(std::to_string(batch))}},
                           {"skip_duplicates", true}};
        client.Post(kSyncPath, {{"Authorization", "Bearer " + token}}, body.dump(),
                    "application/json");
      }
    });
  }
  clients.clear();
  EXPECT_EQ(server().contactCount(), std::size_t{kClients * kBatches});
}

TEST_F(BackendTest, RefusesAPortThatIsInUse) {
  options.port = server().port();
  BackendServer second(options);
  const std::string text = "127.0.0.1:" + std::to_string(options.port) + ".*in use";
  EXPECT_THAT([&] { second.start(); }, ThrowsMessage<std::runtime_error>(ContainsRegex(text)));
}

TEST_F(BackendTest, LogsOneLineForEachRequestAndNoSecrets) {
  std::vector<std::string> lines;
  options.log = [&](const std::string& line) { lines.push_back(line); };
  signIn();
  post(kKeyPath, keyRequest("the-secret-key"));
  get("/a%0Ab?token=x");
  server().stop();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], StartsWith("2023-11-14T22:13:20.250Z POST " + std::string(kTokenPath)));
  EXPECT_THAT(lines[1], HasSubstr(" 200 "));
  EXPECT_THAT(lines[2], HasSubstr(" GET /a?b 404 "));
  const std::string token = authorization.begin()->second.substr(7);
  EXPECT_THAT(lines, Each(Not(AnyOf(HasSubstr(token), HasSubstr("the-secret-key")))));
}

}  // namespace
}  // namespace quillfold::backend
