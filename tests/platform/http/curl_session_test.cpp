#include "platform/linux/http/curl_session.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include <future>
#include <set>

#include "tests/support/loopback_server.h"

namespace quillfold {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using namespace std::chrono_literals;
using Headers = std::vector<std::pair<std::string, std::string>>;

std::shared_ptr<NSURLSession> makeSession(CurlOptions options = {}, double request = 4,
                                          double resource = 4) {
  for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  return makeCurlSessionFactory(std::move(options))->sessionWithConfiguration({request, resource});
}

NSMutableURLRequest to(const std::string& url, const std::string& method = "GET",
                       Headers headers = {}, const std::string& body = "") {
  return {url, method, std::move(headers), body.empty() ? std::nullopt : std::optional(Data(body))};
}

// A task and its end. A second completion would break the promise, and the process.
struct Load {
  std::shared_ptr<NSURLSessionTask> task;
  std::future<URLResult> end;

  Load(NSURLSession& session, const NSMutableURLRequest& request) {
    auto promise = std::make_shared<std::promise<URLResult>>();
    end = promise->get_future();
    task = session.dataTaskWithRequest(request, [promise](auto r) { promise->set_value(r); });
  }
  bool hasEnded(std::chrono::seconds wait) const {
    return end.wait_for(wait) == std::future_status::ready;
  }
  URLResult wait() { return hasEnded(5s) ? end.get() : throw std::runtime_error("no completion"); }
};

URLResult load(NSURLSession& session, const NSMutableURLRequest& request) {
  Load one(session, request);
  one.task->resume();
  return one.wait();
}

// 0 without an error.
std::int64_t codeOf(const URLResult& result) {
  return result.error ? result.error->code() : 0;
}

LoopbackAnswer echo(const LoopbackRequest& request) {
  return {{httpText(200, request.body)}};
}

TEST(CurlSession, SendsTheRequestAsGivenOverOneConnection) {
  LoopbackServer server([](const LoopbackRequest& request) -> LoopbackAnswer {
    // A body that is announced and never comes.
    if (request.has("X-One: HEAD")) return {{"HTTP/1.1 404 No\r\nContent-Length: 5\r\n\r\n"}};
    return {{"HTTP/1.1 103 Early\r\n\r\n" + httpText(404, request.body)}};
  });
  const auto session = makeSession();
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"GET", "", ""},
      {"GET", "g", "1"},
      {"POST", "", "0"},
      {"PUT", "", "0"},
      {"POST", std::string(9000, 'p'), "9000"},
      {"PUT", {"a\0b", 3}, "3"},
      {"DELETE", "d", "1"},
      {"Custom", "", ""},
      {"HEAD", "", ""}};
  for (const auto& [method, body, length] : cases) {
    const Headers headers{{"X-One", " " + method + " "}, {"X-No", ""}, {"Content-Length", "77"}};
    const auto result = load(*session, to(server.url("/a/../b?c=%20"), method, headers, body));
    ASSERT_EQ(codeOf(result), 0);
    EXPECT_EQ(result.response->statusCode, 404);
    EXPECT_EQ(result.body.bytes(), body);
    const LoopbackRequest sent = server.requests().back();
    EXPECT_THAT(sent.head, StartsWith(method + " /a/../b?c=%20 HTTP/1.1\r\n"));
    EXPECT_EQ(sent.connection, 0U);
    EXPECT_EQ(sent.body, body);
    EXPECT_TRUE(sent.has("\nX-One: " + method) && sent.has("\nX-No:")) << sent.head;
    EXPECT_THAT(sent.head, Not(HasSubstr("Expect")));
    EXPECT_EQ(sent.has("Content-Length: " + length), !length.empty()) << sent.head;
    EXPECT_EQ(sent.head.find("Content-Length") == std::string::npos, length.empty()) << sent.head;
  }
}

TEST(CurlSession, EveryFaultHasItsError) {
  const std::string ok = "HTTP/1.1 200 OK\r\n", chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = "40\r\n" + std::string(64, 'x') + "\r\n";
  const std::string packed("\x78\xda\xab\xa8\x18\x1e\x00\x00\xd0\xc4\x5d\xc1", 12);  // 200 "x"
  const std::string move = "Connection: close\r\nLocation: ";
  const std::vector<std::pair<std::string, std::int64_t>> cases = {
      {httpText(200, std::string(100, 'x')), 0},
      {ok + "Content-Length: 9\r\n\r\nabc", NSURLErrorNetworkConnectionLost},
      {chunked + "5\r\nab", NSURLErrorNetworkConnectionLost},
      {"", NSURLErrorNetworkConnectionLost},
      {"hello\r\n\r\n", NSURLErrorBadServerResponse},
      {"HTTP/1.1 101 Up\r\n\r\nabc", NSURLErrorBadServerResponse},
      {httpText(200, "plain", "Content-Encoding: gzip\r\n"), NSURLErrorCannotParseResponse},
      {ok + "Content-Length: 101\r\n\r\n", NSURLErrorDataLengthExceedsMaximum},
      {chunked + chunk + chunk, NSURLErrorDataLengthExceedsMaximum},
      {httpText(200, packed, "Content-Encoding: deflate\r\n"), NSURLErrorDataLengthExceedsMaximum},
      {httpText(302, "", move + "/again\r\n"), NSURLErrorHTTPTooManyRedirects},
      {httpText(302, "", move + "file:///etc/passwd\r\n"), NSURLErrorUnsupportedURL}};
  std::string answer;
  LoopbackServer server([&](const auto&) { return LoopbackAnswer{{answer}, true}; });
  for (const auto& [text, code] : cases) {
    answer = text;
    const auto result =
        load(*makeSession({"", {}, 100}), to("http://me:pw@" + server.hostAndPort() + "/x"));
    EXPECT_EQ(codeOf(result), code) << text;
    EXPECT_EQ(result.response.has_value(), code == 0) << text;
    if (!result.error) continue;
    EXPECT_EQ(stringForKey(result.error->userInfo(), "NSErrorFailingURLStringKey"),
              server.url("/x"));
    EXPECT_THAT(result.error->localizedDescription(), Not(HasSubstr("NSURLErrorDomain")));
  }
}

TEST(CurlSession, WhatCannotBeSentSaysWhy) {
  LoopbackServer server(echo);
  const std::string url = server.url("/");
  const std::vector<std::pair<NSMutableURLRequest, std::int64_t>> cases = {
      {to("no address"), NSURLErrorBadURL},
      {to(url + std::string("\0x", 2)), NSURLErrorBadURL},
      {to("file:///etc/passwd"), NSURLErrorUnsupportedURL},
      {to(url, "GET / HTTP/1.1\r\nA: b\r\n"), NSURLErrorBadURL},
      {to(url, "HEAD", {}, "body"), NSURLErrorBadURL},
      {to(url, "GET", {{"X", "a\r\nInjected: 1"}}), NSURLErrorBadURL},
      {to(url, "GET", {{"X: y\r\nZ", "a"}}), NSURLErrorBadURL},
      {to("http://127.0.0.1:1/"), NSURLErrorCannotConnectToHost},
      {to("http://" + std::string(70, 'a') + ".test/"), NSURLErrorCannotFindHost}};
  for (const auto& [request, code] : cases)
    EXPECT_EQ(codeOf(load(*makeSession(), request)), code);
  EXPECT_TRUE(server.requests().empty());
}

TEST(CurlSession, RequestTimeoutCountsFromTheLastByteResourceTimeoutFromTheStart) {
  LoopbackServer server([](const LoopbackRequest&) {
    LoopbackAnswer drip{{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"}, false, 40ms};
    drip.pieces.resize(10, "x");
    return drip;
  });
  EXPECT_EQ(codeOf(load(*makeSession({}, 0.3, 0), to(server.url("/")))), 0);
  EXPECT_EQ(codeOf(load(*makeSession({}, 4, 0.2), to(server.url("/")))), NSURLErrorTimedOut);
  EXPECT_EQ(load(*makeSession({}, 0.01), to(server.url("/"))).error->localizedDescription(),
            "The request timed out.");
}

TEST(CurlSession, RedirectsKeepAuthorizationAndMethodWhereTheyBelong) {
  LoopbackServer other(echo);
  LoopbackServer server([&](const LoopbackRequest& request) -> LoopbackAnswer {
    const std::size_t at = request.head.find("/from");
    if (at == std::string::npos) return echo(request);
    const std::string target = request.head[at + 5] == 'A' ? other.url("/") : "/end";
    return {
        {httpText(std::stoi(request.head.substr(at + 6)), "?", "Location: " + target + "\r\n")}};
  });
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"POST", "H301", "GET"},  {"POST", "A302", "GET"}, {"POST", "H307", "POST"},
      {"POST", "A308", "POST"}, {"PUT", "H301", "PUT"},  {"PUT", "H303", "GET"}};
  for (const auto& [method, from, followed] : cases) {
    const Headers headers{{"Authorization", "Bearer t"}};
    const auto result = load(*makeSession(), to(server.url("/from" + from), method, headers, "b"));
    EXPECT_EQ(result.body.bytes(), followed == "GET" ? "" : "b") << method << from;
    const LoopbackRequest last = (from[0] == 'A' ? other : server).requests().back();
    EXPECT_THAT(last.head, StartsWith(followed + " /")) << from;
    EXPECT_EQ(last.has("Authorization: Bearer t"), from[0] == 'H') << from;
  }
}

TEST(CurlSession, CancelledTasksEndOnceAndNeverInsideTheCall) {
  LoopbackServer server([](const auto&) { return LoopbackAnswer{}; });
  const auto session = makeSession();
  const auto request = to(server.url("/"));
  Load unstarted(*session, request), inFlight(*session, request), listed(*session, request);
  unstarted.task->cancel();
  unstarted.task->resume();
  EXPECT_EQ(unstarted.wait().error->localizedDescription(), "cancelled");
  inFlight.task->resume();
  inFlight.task->resume();
  server.requests(1);
  std::promise<std::size_t> listing;
  session->getTasksWithCompletionHandler([&](URLSessionTasks tasks) {
    for (const auto& task : tasks.dataTasks)
      task->cancel();
    EXPECT_FALSE(inFlight.hasEnded(0s) || listed.hasEnded(0s));
    listing.set_value(tasks.dataTasks.size());
  });
  EXPECT_EQ(listing.get_future().get(), 2U);
  EXPECT_EQ(codeOf(inFlight.wait()), NSURLErrorCancelled);
  EXPECT_EQ(codeOf(listed.wait()), NSURLErrorCancelled);
  inFlight.task->cancel();
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(CurlSession, ACompletionMayReleaseTheSessionAndItsTask) {
  LoopbackServer server([](const auto& r) { return r.body == "?" ? LoopbackAnswer{} : echo(r); });
  auto session = makeSession();
  const auto request = to(server.url("/"));
  Load silent(*session, to(server.url("/"), "POST", {}, "?")), idle(*session, request);
  silent.task->resume();
  server.requests(1);
  std::promise<std::int64_t> last;
  std::shared_ptr<NSURLSessionTask> task = session->dataTaskWithRequest(request, [&](URLResult) {
    const auto whenEnded = [&](const URLResult& result) { last.set_value(codeOf(result)); };
    session->dataTaskWithRequest(request, whenEnded)->resume();
    silent.task->cancel();
    task = nullptr;
    session = nullptr;
  });
  task->resume();
  EXPECT_EQ(last.get_future().get(), NSURLErrorCancelled);
  EXPECT_EQ(codeOf(silent.wait()), NSURLErrorCancelled);
  EXPECT_EQ(codeOf(idle.wait()), NSURLErrorCancelled);
  idle.task->resume();
}

TEST(CurlSession, TwoHundredRequestsAtOnceEndOnceEachAndOneByOne) {
  LoopbackServer server(echo);
  const auto session = makeSession();
  std::set<std::string> ends;  // without a lock: they come on one thread
  std::promise<void> all;
  const auto start = [&](int first, int count) {
    for (int i = first; i < first + count; ++i) {
      const auto request = to(server.url("/"), "POST", {}, std::to_string(i));
      const auto whenEnded = [&](const URLResult& result) {
        EXPECT_TRUE(ends.emplace(result.body.bytes()).second);
        if (ends.size() == 200) all.set_value();
      };
      session->dataTaskWithRequest(request, whenEnded)->resume();
    }
  };
  std::jthread half(start, 0, 100);
  start(100, 100);
  EXPECT_EQ(all.get_future().wait_for(5s), std::future_status::ready);
}

// Its own certificate and key, for "localhost", in one file.
TEST(CurlSession, TrustsTheGivenCertificateAloneAndForItsHostAlone) {
  const std::string file = testing::TempDir() + "quillfold-" + std::to_string(getpid()) + ".pem";
  ASSERT_EQ(std::system(("openssl req -x509 -newkey rsa:2048 -nodes -batch -subj /CN=localhost "
                         "-addext subjectAltName=DNS:localhost -keyout /dev/stdout 2>&- | cat >" +
                         file)
                            .c_str()),
            0);
  httplib::SSLServer server(file.c_str(), file.c_str());
  const std::string port = std::to_string(server.bind_to_any_port("127.0.0.1"));
  std::thread thread([&] { server.listen_after_bind(); });
  const auto loadFrom = [&](const std::string& host, const std::string& certificates) {
    const CurlOptions options{certificates, {{host + ":443", "127.0.0.1:" + port}}};
    return codeOf(load(*makeSession(options), to("https://" + host + "/")));
  };
  EXPECT_EQ(loadFrom("localhost", ""), NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(loadFrom("localhost", "/nowhere"), NSURLErrorSecureConnectionFailed);
  EXPECT_EQ(loadFrom("localhost", file), 0);
  EXPECT_EQ(loadFrom("other.example", file), NSURLErrorServerCertificateUntrusted);
  server.stop();
  thread.join();
  std::remove(file.c_str());
}

TEST(CurlSession, TakesTheProxyOfTheEnvironment) {
  LoopbackServer proxy(echo);
  const auto session = makeSession();
  setenv("http_proxy", proxy.url("").c_str(), 1);
  EXPECT_EQ(codeOf(load(*session, to("http://other.example/x"))), 0);
  EXPECT_THAT(proxy.requests().back().head, StartsWith("GET http://other.example/x "));
}

}  // namespace
}  // namespace quillfold
