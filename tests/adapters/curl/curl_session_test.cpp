#include "adapters/curl/curl_session.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include <future>
#include <set>

#include "adapters/curl/curl_library.h"
#include "tests/support/loopback_server.h"

namespace quillfold {
namespace {

using namespace std::chrono_literals;
using namespace testing;
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

const auto echo = [](const LoopbackRequest& r) -> LoopbackAnswer {
  return {{httpText(200, r.body)}};
};

TEST(CurlSession, SendsTheRequestAsGivenOverOneConnection) {
  LoopbackServer server([](const LoopbackRequest& r) -> LoopbackAnswer {
    // A body that is announced and never comes.
    if (r.head.starts_with("HEAD")) return {{"HTTP/1.1 404 No\r\nContent-Length: 5\r\n\r\n"}};
    return {{"HTTP/1.1 103 Early\r\n\r\n" + httpText(404, r.body)}};
  });
  const auto session = makeSession();
  for (const std::string method : {"GET", "POST", "PUT", "DELETE", "Custom", "HEAD"}) {
    for (const std::string& body :
         {std::string(), std::string("a\0b", 3), std::string(9000, 'p')}) {
      if (method == "HEAD" && !body.empty()) continue;
      const Headers headers{{"X-One", " 1\t"}, {"X-No", ""}, {"Content-Length", "77"}};
      const auto result = load(*session, to(server.url("/a/../b?c=%20"), method, headers, body));
      ASSERT_EQ(codeOf(result), 0);
      EXPECT_EQ(result.response->statusCode, 404);
      EXPECT_EQ(result.body.bytes(), body);
      const LoopbackRequest sent = server.requests().back();
      EXPECT_THAT(sent.head, StartsWith(method + " /a/../b?c=%20 HTTP/1.1\r\n"));
      EXPECT_EQ(sent.connection, 0U);
      EXPECT_EQ(sent.body, body);
      EXPECT_TRUE(sent.has("X-One: 1") && sent.has("X-No:")) << sent.head;
      const bool measured = !body.empty() || method == "POST" || method == "PUT";
      EXPECT_EQ(sent.has("Content-Length: " + std::to_string(body.size())), measured) << sent.head;
      EXPECT_THAT(sent.head, Not(AnyOf(HasSubstr("Expect"), HasSubstr("Length: 77"))));
    }
  }
}

TEST(CurlSession, ABodyMayHaveAsManyBytesAsTheLimitSays) {
  const std::string packed("\x78\xda\xab\xa8\x18\x1e\x00\x00\xd0\xc4\x5d\xc1", 12);  // 200 "x"
  const CurlOptions small{"", {}, 100};
  const std::tuple<std::string, std::int64_t, CurlOptions> cases[] = {
      {httpText(200, std::string(100, 'x')), 0, small},
      {httpText(200, std::string(101, 'x')), NSURLErrorDataLengthExceedsMaximum, small},
      {"HTTP/1.1 200 OK\r\n\r\n" + std::string(101, 'x'), NSURLErrorDataLengthExceedsMaximum,
       small},
      {httpText(200, packed, "Content-Encoding: deflate\r\n"), NSURLErrorDataLengthExceedsMaximum,
       small},
      {"HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\n",
       NSURLErrorDataLengthExceedsMaximum,
       {}}};
  for (const auto& [text, code, options] : cases) {
    LoopbackServer server([&answer = text](auto&) {
      return LoopbackAnswer{{answer}, LoopbackAnswer::Close};
    });
    const auto request = to("http://me:pw@" + server.hostAndPort() + "/x");
    const auto result = load(*makeSession(options), request);
    EXPECT_EQ(codeOf(result), code) << text;
    EXPECT_EQ(result.response.has_value(), code == 0) << text;
    if (!result.error) continue;
    const auto address = stringForKey(result.error->userInfo(), "NSErrorFailingURLStringKey");
    EXPECT_EQ(address, server.url("/x"));
  }
}

TEST(CurlSession, WhatCannotBeSentSaysWhy) {
  LoopbackServer server(echo);
  const std::string url = server.url("/");
  const auto sent = [](const NSMutableURLRequest& request) {
    return load(*makeSession(), request);
  };
  for (const auto& bad :
       {to("no address"), to(url + std::string("\0x", 2)), to(url, "GET /x\r\nA: b"),
        to(url, "HEAD", {}, "body"), to(url, "GET", {{"X", "a\r\nInjected: 1"}}),
        to(url, "GET", {{"X: y\r\nZ", "a"}})}) {
    EXPECT_EQ(codeOf(sent(bad)), NSURLErrorBadURL) << bad.url << bad.httpMethod;
  }
  EXPECT_EQ(codeOf(sent(to("file:///etc/passwd"))), NSURLErrorUnsupportedURL);
  EXPECT_EQ(codeOf(sent(to("http://127.0.0.1:1/"))), NSURLErrorCannotConnectToHost);
  EXPECT_EQ(codeOf(sent(to("http://" + std::string(70, 'a') + ".test/"))),
            NSURLErrorCannotFindHost);
  EXPECT_TRUE(server.requests().empty());
}

TEST(CurlSession, CancelledTasksEndOnceAlsoWithTheSessionReleasedInACompletion) {
  LoopbackServer server([](const auto&) { return LoopbackAnswer{}; });
  auto session = makeSession();
  const auto request = to(server.url("/"));
  Load early(*session, request), inFlight(*session, request), suspended(*session, request);
  early.task->cancel();
  early.task->resume();
  EXPECT_EQ(early.wait().error->localizedDescription(), "cancelled");
  inFlight.task->resume();
  inFlight.task->resume();
  server.requests(1);
  std::promise<std::size_t> listed;
  std::promise<std::int64_t> last;
  std::shared_ptr<NSURLSessionTask> task;
  task = session->dataTaskWithRequest(request, [&](const URLResult&) {
    const auto whenEnded = [&](const URLResult& result) { last.set_value(codeOf(result)); };
    session->dataTaskWithRequest(request, whenEnded)->resume();
    session->getTasksWithCompletionHandler([&](URLSessionTasks tasks) {
      for (const auto& open : tasks.dataTasks)
        open->cancel();
      EXPECT_FALSE(inFlight.hasEnded(0s) || suspended.hasEnded(0s));
      listed.set_value(tasks.dataTasks.size());
    });
    task = nullptr;
    session = nullptr;
  });
  task->cancel();
  EXPECT_EQ(listed.get_future().get(), 3U);
  EXPECT_EQ(last.get_future().get(), NSURLErrorCancelled);
  EXPECT_EQ(codeOf(inFlight.wait()), NSURLErrorCancelled);
  EXPECT_EQ(codeOf(suspended.wait()), NSURLErrorCancelled);
  suspended.task->resume();
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(CurlSession, TwoHundredRequestsAtOnceEndOnceEachAndOneByOne) {
  LoopbackServer server(echo);
  const auto session = makeSession();
  std::set<std::string> ends;  // without a lock: they come on one thread
  std::promise<void> all;
  const auto whenEnded = [&](const URLResult& result) {
    EXPECT_TRUE(ends.emplace(result.body.bytes()).second);
    if (ends.size() == 200) all.set_value();
  };
  const auto startEveryOther = [&](int first) {
    for (int i = first; i < 200; i += 2) {
      const auto request = to(server.url("/"), "POST", {}, std::to_string(i));
      session->dataTaskWithRequest(request, whenEnded)->resume();
    }
  };
  std::jthread odd(startEveryOther, 1);
  startEveryOther(0);
  EXPECT_EQ(all.get_future().wait_for(5s), std::future_status::ready);
}

TEST(CurlSession, TrustsTheGivenCertificateAloneAndKeepsTheTokenBehindIt) {
  const std::string file = TempDir() + "quillfold-" + std::to_string(getpid()) + ".pem";
  const std::string make =
      "openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -keyout -";
  const std::string name = " -addext subjectAltName=DNS:localhost 2>/dev/null >";
  ASSERT_EQ(std::system((make + name + file).c_str()), 0);
  httplib::SSLServer server(file.c_str(), file.c_str());
  LoopbackServer open(echo);
  server.Get("/open", [&](auto&, auto& answer) { answer.set_redirect(open.url("/"), 308); });
  const std::string port = std::to_string(server.bind_to_any_port("127.0.0.1"));
  std::jthread thread([&] { server.listen_after_bind(); });
  const auto loadFrom = [&](const std::string& host, const std::string& certificates) {
    const CurlOptions options{certificates, {{host + ":443", "127.0.0.1:" + port}}};
    return codeOf(load(*makeSession(options), to("https://" + host + "/")));
  };
  EXPECT_EQ(loadFrom("localhost", ""), NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(loadFrom("localhost", "/nowhere"), NSURLErrorSecureConnectionFailed);
  EXPECT_EQ(loadFrom("localhost", file), 0);
  EXPECT_EQ(loadFrom("other.example", file), NSURLErrorServerCertificateUntrusted);
  const CurlOptions options{file, {}, 100, "https://localhost:" + port};
  const auto request = to("https://any/open", "GET", {{"Authorization", "Bearer t"}});
  EXPECT_EQ(load(*makeSession(options), request).response->statusCode, 200);
  EXPECT_THAT(open.requests().at(0).head, Not(HasSubstr("Authorization")));
  server.stop();
  std::remove(file.c_str());
}

TEST(CurlSession, TheProcessEndsWithNoThreadInsideLibcurl) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static std::atomic<bool> inside = false;
  const auto endWhileLoading = [] {
    std::atexit([] { _exit(inside); });
    startCurl();
    const auto load = [] {
      const CurlUse use;
      inside = true;
      inside.notify_one();
      inside = false;
    };
    std::thread([load] {
      while (true)
        load();
    }).detach();
    inside.wait(false);
    exit(2);
  };
  EXPECT_EXIT(endWhileLoading(), ExitedWithCode(0), "");
}

}  // namespace
}  // namespace quillfold
