#include "adapters/curl/curl_session.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include <filesystem>
#include <future>
#include <list>

#include "adapters/curl/curl_library.h"
#include "tests/support/loopback_server.h"

namespace quillfold {
namespace {

using namespace std::chrono_literals;
using namespace testing;
using Headers = std::vector<std::pair<std::string, std::string>>;
using Text = std::optional<std::string>;

std::shared_ptr<NSURLSession> makeSession(CurlOptions options = {}, double request = 4,
                                          double resource = 4) {
  for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  return makeCurlSessionFactory(std::move(options))->sessionWithConfiguration({request, resource});
}

NSMutableURLRequest to(const std::string& url, const std::string& method = "GET",
                       Headers headers = {}, const Text& body = {}) {
  return {url, method, std::move(headers), body ? std::optional(Data(*body)) : std::nullopt};
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

// Code and text of the error, and what libcurl called it.
std::string told(const URLResult& result) {
  if (!result.error) return "loaded";
  const ErrorPtr cause = result.error->underlyingError();
  return std::to_string(result.error->code()) + ' ' + result.error->localizedDescription() +
         (cause ? " < " + cause->domain() + ' ' + std::to_string(cause->code()) : "");
}

const auto echo = [](const LoopbackRequest& r) -> LoopbackAnswer {
  return {{httpText(200, r.body)}};
};

// Sessions leave neither a thread nor a file behind.
class CurlSession : public Test {
 protected:
  ~CurlSession() override {
    using Clock = std::chrono::steady_clock;
    for (const auto end = Clock::now() + 5s; held() > before_ && Clock::now() < end;)
      std::this_thread::yield();
    EXPECT_LE(held(), before_);
  }
  static std::ptrdiff_t held() {
    using Folder = std::filesystem::directory_iterator;
    return std::distance(Folder("/proc/self/task"), {}) +
           std::distance(Folder("/proc/self/fd"), {});
  }
  // A sanitizer keeps a thread of its own from the first one on.
  static std::ptrdiff_t heldAfterAThread() {
    std::thread([] {}).join();
    return held();
  }
  const std::ptrdiff_t before_ = heldAfterAThread();
};

TEST_F(CurlSession, SendsTheRequestAsGivenOverOneConnection) {
  LoopbackServer server([](const LoopbackRequest& r) -> LoopbackAnswer {
    // A body that is announced, of any size, and never comes.
    if (r.head.starts_with("HEAD"))
      return {{"HTTP/1.1 404 No\r\nContent-Length: 99999999\r\n\r\n"}};
    return {{"HTTP/1.1 103 Early\r\n\r\n" + httpText(404, r.body)}};
  });
  const auto session = makeSession();
  Headers headers{{"X-One", " 1~\t"}, {"X-No", ""}};
  for (const char* ours : {"Content-Length", "Transfer-encoding", "EXPECT"})
    headers.emplace_back(ours, "theirs");
  for (const std::string method : {"GET", "POST", "PUT", "PATCH", "DELETE", "Custom", "HEAD"}) {
    for (const Text& given :
         {Text(), Text(""), Text(std::string("a\0b", 3)), Text(std::string(9000, 'p'))}) {
      const std::string body = given.value_or("");
      if (method == "HEAD" && !body.empty()) continue;
      const auto result = load(*session, to(server.url("/a/../b?c=%20"), method, headers, given));
      ASSERT_EQ(told(result), "loaded");
      EXPECT_EQ(result.response->statusCode, 404);
      EXPECT_EQ(result.body.bytes(), body);
      const LoopbackRequest sent = server.requests().back();
      EXPECT_THAT(sent.head, AllOf(StartsWith(method + " /a/../b?c=%20 HTTP/1.1\r\n"),
                                   ContainsRegex("Accept-Encoding: .*gzip")));
      EXPECT_EQ(sent.connection, 0U);
      EXPECT_EQ(sent.body, body);
      EXPECT_TRUE(sent.has("X-One: 1~") && sent.has("X-No:")) << sent.head;
      const bool measured = !body.empty() || method.starts_with("P");
      EXPECT_EQ(sent.has("Content-Length: " + std::to_string(body.size())), measured) << sent.head;
      EXPECT_THAT(sent.head, Not(ContainsRegex("theirs|Expect|-Type")));
    }
  }
}

TEST_F(CurlSession, AnAnswerMayHaveAsManyBytesAsTheLimitsSay) {
  const auto headed = [](std::size_t size) {
    std::string text = "HTTP/1.1 200 OK\r\n";
    while (text.size() + 1000 < size)
      text += "X: " + std::string(995, 'y') + "\r\n";
    return text + "X: " + std::string(size - text.size() - 7, 'y') + "\r\n\r\n";
  };
  const std::string packed("\x78\xda\xab\xa8\x18\x1e\x00\x00\xd0\xc4\x5d\xc1", 12);  // 200 "x"
  const CurlOptions small{"", {}, 100};
  const std::string tooLarge = "-1103 The response exceeds the maximum size. < libcurl 63";
  const std::tuple<std::string, std::string, CurlOptions> cases[] = {
      {"HTTP/1.1 200 OK\nContent-Length: 100\n\n" + std::string(100, 'x'), "loaded", small},
      {httpText(200, std::string(101, 'x')), tooLarge, small},
      {"HTTP/1.1 200 OK\r\n\r\n" + std::string(101, 'x'), tooLarge, small},
      {httpText(200, packed, "Content-Encoding: deflate\r\n"), tooLarge, small},
      {headed(256 << 10), "loaded", {}},
      {headed((256 << 10) + 1), tooLarge, {}},
      {"HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\n", tooLarge, {}}};
  for (const auto& [text, end, options] : cases) {
    LoopbackServer server([&answer = text](auto&) {
      return LoopbackAnswer{{answer}, LoopbackAnswer::Close};
    });
    const auto request = to("http://me:pw@" + server.hostAndPort() + "/x");
    const auto result = load(*makeSession(options), request);
    EXPECT_EQ(told(result), end) << text.substr(0, 99);
    EXPECT_EQ(result.response.has_value(), !result.error);
    if (!result.error) continue;
    const auto address = stringForKey(result.error->userInfo(), "NSErrorFailingURLStringKey");
    EXPECT_EQ(address, server.url("/x"));
  }
}

TEST(WebOrigin, IsSchemeHostAndPortAlone) {
  for (const char* origin : {"http://h", "https://h:1/"})
    EXPECT_TRUE(isWebOrigin(origin)) << origin;
  for (const char* other :
       {"", "h", "ftp://h", "http://h/a", "http://h?q", "http://h#f", "http://u@h"})
    EXPECT_FALSE(isWebOrigin(other)) << other;
}

TEST_F(CurlSession, WhatCannotBeSentSaysWhy) {
  LoopbackServer server(echo);
  const std::string url = server.url("/");
  const auto sent = [](const NSMutableURLRequest& request) {
    return load(*makeSession(), request);
  };
  LoopbackServer moved([](const LoopbackRequest& r) -> LoopbackAnswer {
    const bool elsewhere = r.head.starts_with("GET /ftp ");
    return {
        {httpText(302, "", elsewhere ? "Location: ftp://127.0.0.1:1/\r\n" : "Location: ?\r\n")}};
  });
  const std::pair<NSMutableURLRequest, std::string> cases[] = {
      {to("no address"), "-1000 The address is not valid."},
      {to(url + std::string("\0x", 2)), "-1000 The address is not valid."},
      {to(url, "GET /x\r\nA: b"), "-1000 The method of the request is not valid."},
      {to(url, ""), "-1000 The method of the request is not valid."},
      {to(url, "HEAD", {}, "body"), "-1000 HEAD takes no body."},
      {to(url, "GET", {{"X", "a\r\nInjected: 1"}}),
       "-1000 The value of the header \"X\" is not valid."},
      {to(url, "GET", {{"X: y\r\nZ", "a"}}),
       "-1000 The request has a header with an invalid name."},
      // More than libcurl takes for a method.
      {to(url, std::string(8'000'001, 'A')),
       "-1 The request failed for an unknown reason. < libcurl 43"},
      {to("file:///etc/passwd"), "-1002 The address is neither http nor https."},
      {to(moved.url("/ftp")), "-1002 The address is neither http nor https. < libcurl 1"},
      {to(moved.url("/")), "-1007 The server redirected too many times. < libcurl 47"},
      {to("http://127.0.0.1:1/"), "-1004 Could not connect to the server. < libcurl 7"},
      {to("http://" + std::string(70, 'a') + ".test/"),
       "-1003 A server with the specified hostname could not be found. < libcurl 6"}};
  for (const auto& [request, why] : cases)
    EXPECT_EQ(told(sent(request)), why) << request.url;
  EXPECT_TRUE(server.requests().empty());
  EXPECT_EQ(moved.requests().size(), 1 + 21U) << "20 redirects are followed";
}

TEST_F(CurlSession, CancelledTasksEndOnceAlsoWithTheSessionReleasedInACompletion) {
  LoopbackServer server([](const auto&) { return LoopbackAnswer{}; });
  auto session = makeSession();
  const auto request = to(server.url("/"));
  Load early(*session, request), inFlight(*session, request), suspended(*session, request);
  early.task->cancel();
  early.task->resume();
  EXPECT_EQ(told(early.wait()), "-999 cancelled");
  inFlight.task->resume();
  inFlight.task->resume();
  server.requests(1);
  std::promise<std::size_t> listed;
  std::promise<std::string> last;
  std::shared_ptr<NSURLSessionTask> task;
  task = session->dataTaskWithRequest(request, [&](const URLResult&) {
    const auto whenEnded = [&](const URLResult& result) { last.set_value(told(result)); };
    session->dataTaskWithRequest(request, whenEnded)->resume();
    session->getTasksWithCompletionHandler([&](URLSessionTasks tasks) {
      tasks.dataTasks[0]->cancel();
      EXPECT_FALSE(inFlight.hasEnded(0s) || suspended.hasEnded(0s));
      listed.set_value(tasks.dataTasks.size());
    });
    task = nullptr;
    session = nullptr;
  });
  task->cancel();
  EXPECT_EQ(listed.get_future().get(), 3U);
  EXPECT_EQ(last.get_future().get(), "-999 cancelled");
  EXPECT_EQ(told(inFlight.wait()), "-999 cancelled");
  EXPECT_EQ(told(suspended.wait()), "-999 cancelled");
  suspended.task->resume();
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(CurlSession, TwoHundredRequestsOfTwoThreadsEndOnceEachThroughTheProxy) {
  LoopbackServer server(echo);
  CurlOptions options;
  options.proxy = server.url("");
  const auto session = makeSession(options);
  const auto loadMany = [&](int first) {
    std::list<Load> loads;
    for (int i = first; i < 200; i += 2) {
      const auto request = to("http://any.test/x", "POST", {}, std::to_string(i));
      loads.emplace_back(*session, request).task->resume();
    }
    for (Load& one : loads) {
      EXPECT_EQ(one.wait().body.bytes(), std::to_string(first));
      first += 2;
    }
  };
  std::jthread odd(loadMany, 1);
  loadMany(0);
  EXPECT_THAT(server.requests().at(0).head, StartsWith("POST http://any.test/x HTTP/1.1\r\n"));
}

TEST_F(CurlSession, TrustsTheGivenCertificateAloneAndKeepsTheTokenBehindIt) {
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
    return told(load(*makeSession(options), to("https://" + host + "/")));
  };
  const std::string untrusted = "-1202 The certificate of the server is not trusted. < libcurl 60";
  EXPECT_EQ(loadFrom("localhost", ""), untrusted);
  EXPECT_EQ(loadFrom("localhost", "/nowhere"),
            "-1200 A secure connection to the server cannot be made. < libcurl 77");
  EXPECT_EQ(loadFrom("localhost", file), "loaded");
  EXPECT_EQ(loadFrom("other.example", file), untrusted);
  const CurlOptions options{file, {}, 100, "https://localhost:" + port};
  const auto request = to("https://any/open", "GET", {{"Authorization", "Bearer t"}});
  EXPECT_EQ(load(*makeSession(options), request).response->statusCode, 200);
  EXPECT_THAT(open.requests().at(0).head, Not(HasSubstr("Authorization")));
  server.stop();
  std::remove(file.c_str());
}

TEST(CurlLibrary, TheProcessEndsWithNoThreadInsideLibcurl) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static std::atomic<bool> inside = false;
  const auto endWhileLoading = [] {
    std::atexit([] {
      int looks = 1000;
      for (; looks > 0 && !inside; --looks)
        std::this_thread::yield();
      _exit(looks > 0);
    });
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
