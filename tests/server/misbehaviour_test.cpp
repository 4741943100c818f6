// Every request of the library at a server that misbehaves, over the real session. What it does
// and what becomes of it stands in cases.json.
#include <sys/resource.h>

#include <deque>

#include "adapters/asio/main_queue.h"
#include "adapters/asio/thread_pool_queue.h"
#include "adapters/curl/curl_session.h"
#include "testing/fake_platform.h"
#include "tests/server/operations.h"
#include "tests/support/loopback_server.h"

namespace quillfold::testing {
namespace {

using namespace ::testing;
using namespace std::chrono_literals;
using namespace std::string_literals;

// Domain, code and text of an error, and domain and code of the one underneath.
std::string told(const ErrorPtr& error) {
  const ErrorPtr cause = error->underlyingError();
  return fmt::format("{} {}: {}", error->domain(), error->code(), error->localizedDescription()) +
         (cause ? fmt::format(" < {} {}", cause->domain(), cause->code()) : "");
}
std::string networkError(std::int64_t code) {
  return fmt::format("com.quillfold.api 4: Network error: {} < NSURLErrorDomain {}",
                     textAt(at(cases(), "errors"), std::to_string(code)), code);
}

// One byte for each character: what is no text can be written as one.
std::string bytes(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool two = (text[i] & 0x80) != 0;
    out += two ? static_cast<char>((text[i] & 3) << 6 | (text[i + 1] & 0x3f)) : text[i];
    i += two;
  }
  return out;
}
LoopbackAnswer answerOf(const Value& row) {
  LoopbackAnswer answer;
  if (const Array* pieces = at(row, "pieces").asArray()) {
    for (const Value& piece : *pieces)
      answer.pieces.push_back(bytes(*piece.asString()));
  }
  if (const auto end = textAt(row, "end"); !end.empty()) {
    answer.end = end == "close" ? LoopbackAnswer::Close : LoopbackAnswer::Reset;
  }
  if (!at(row, "whole").isNull()) {
    answer.gap = 20ms;
    answer.again = 9999;
  }
  if (at(row, "gigabyte").boolValue()) {
    const std::string once = answer.pieces.back();
    while (answer.pieces.back().size() < 1 << 16)
      answer.pieces.back() += once;
    answer.again = (1 << 30) / answer.pieces.back().size();
  }
  return answer;
}

std::string pathOf(const LoopbackRequest& request) {
  const std::size_t start = request.head.find(' ') + 1;
  return request.head.substr(start, request.head.find_first_of(" ?", start) - start);
}
std::string methodOf(const LoopbackRequest& request) {
  return request.head.substr(0, request.head.find(' '));
}

class ServerTest : public ::testing::Test {
 protected:
  // Which of the requests of an operation the server has its way with.
  enum Step { Own, User, Token };
  static constexpr Step kSteps[] = {Own, User, Token};

  ServerTest() {
    setenv("no_proxy", "*", 1);
    const auto clock = std::make_shared<FakeClock>();
    Platform::install({clock, main, global, log, defaults, std::make_shared<MemoryFiles>(),
                       makeCurlSessionFactory({}), std::make_shared<MemoryContacts>(*global),
                       std::make_shared<FakeDevice>(), std::make_shared<NSNotificationCenter>(),
                       std::make_shared<LinuxTaskScheduler>(clock, TaskSchedulerOptions{}),
                       std::make_shared<FakeInterface>()});
    defaults->setObject("u", defaults_keys::kUserId);
    defaults->setObject("D", defaults_keys::kDeviceIdentifier);
    operations = everyOperation();
    api = QFAPIClient::sharedInstance();
  }
  ~ServerTest() override {
    for (const Ended& ended : ends_)
      EXPECT_EQ(ended.calls, 1) << ended.text;
    EXPECT_THAT(log->lines(), Each(Not(HasSubstr("SECRET"))));
  }

  Step stepOf(const std::string& path) const {
    return path == operations[0].path ? Token : path == operations[1].path ? User : Own;
  }
  // Gives that answer to the requests of that step, and good ones to the others.
  void answerWith(Step step, LoopbackAnswer answer) {
    const std::lock_guard lock(mutex_);
    step_ = step;
    answer_ = std::move(answer);
  }
  LoopbackAnswer answerTo(const LoopbackRequest& request) {
    const std::string path = pathOf(request);
    const Operation* found = nullptr;
    for (const Operation& one : operations) {
      const bool same = one.request.starts_with(methodOf(request) + ' ');
      if (one.path == path && (!found || same)) found = &one;
    }
    const std::lock_guard lock(mutex_);
    return stepOf(path) == step_ ? answer_ : LoopbackAnswer{{httpText(200, found->good)}};
  }
  std::vector<Operation> operationsWith(Step step) const {
    std::vector<Operation> some;
    for (const Operation& one : operations) {
      const bool uploads = one.name == "source" || one.name == "upload";
      const bool has = step == Own    ? stepOf(one.path) == Own
                       : step == User ? uploads || one.name == "user"
                                      : one.name != "health";
      if (has) some.push_back(one);
    }
    return some;
  }

  // A new session, whose requests go to that server.
  void connect(const std::string& origin, double idle = 0, double whole = 20,
               CurlOptions options = {}) {
    options.origin = origin;
    options.maximumBodySize = 1 << 20;
    api->setSession(makeCurlSessionFactory(options)->sessionWithConfiguration({idle, whole}));
  }
  // Starts them at once, and gives the ends that they come to on the main queue.
  std::vector<std::string> run(const std::vector<Operation>& some, Step step) {
    defaults->setObject("SAVED", defaults_keys::kSourceId);
    api->setToken(step == Token ? std::nullopt : std::optional("SECRET"s));
    api->setTokenExpiryDate(NSDate::dateWithTimeIntervalSince1970(9e9));
    const std::size_t first = ends_.size();
    for (const Operation& one : some) {
      Ended& ended = ends_.emplace_back();
      one.start([this, &ended](const std::string& result, const ErrorPtr& error) {
        ended.text = error ? told(error) : result;
        EXPECT_EQ(isMainQueueThread(), endsOnMain);
        ++ended.calls;
        main->async([] {});
        EXPECT_TRUE(!error || result == "nothing" || result == "no" || result == "0") << result;
      });
      EXPECT_EQ(ended.calls, 0) << one.name << " has ended inside its call";
    }
    const auto have = [](const Ended& ended) { return ended.calls > 0; };
    EXPECT_TRUE(main->runUntil(
        [&] { return std::all_of(ends_.begin() + std::ptrdiff_t(first), ends_.end(), have); }, 60));
    std::vector<std::string> texts;
    for (std::size_t i = first; i < ends_.size(); ++i)
      texts.push_back(ends_[i].text);
    return texts;
  }
  void expectEnds(Step step, const std::function<std::string(const Operation&)>& expected) {
    const auto some = operationsWith(step);
    const auto ends = run(some, step);
    for (std::size_t i = 0; i < some.size(); ++i) {
      const bool record = ends[i].starts_with("record");
      EXPECT_EQ(record ? "record" : ends[i], expected(some[i])) << some[i].name << " at " << step;
    }
  }
  void expectFailure(Step step, const std::string& error) {
    expectEnds(step, [&](const Operation& one) { return one.name == "health" ? "no" : error; });
  }

  const std::shared_ptr<LinuxMainQueue> main = std::make_shared<LinuxMainQueue>();
  const std::shared_ptr<DispatchQueue> global = makeThreadPoolQueue();
  const std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  const std::shared_ptr<MemoryDefaults> defaults = std::make_shared<MemoryDefaults>();
  const LoopbackServer::Handler handler = [this](const auto& request) { return answerTo(request); };
  std::vector<Operation> operations;
  std::shared_ptr<QFAPIClient> api;
  bool endsOnMain = true;

 private:
  struct Ended {
    std::atomic<int> calls = 0;
    std::string text;
  };
  // Of all that has been started: they must not be called again later.
  std::deque<Ended> ends_;
  std::mutex mutex_;
  Step step_ = Own;
  LoopbackAnswer answer_;
};

TEST_F(ServerTest, GetsEveryRequestAsItHasToBe) {
  LoopbackServer server(handler);
  connect(server.url(""));
  answerWith(Token, {{httpText(200, operations[0].good)}});
  for (const Operation& one : operations) {
    SCOPED_TRACE(one.name);
    log->clear();
    const bool open = one.name == "token" || one.name == "health";
    EXPECT_EQ(run({one}, open ? Token : Own)[0], textAt(one.row, "result"));
    const LoopbackRequest sent = server.requests().back();
    EXPECT_THAT(sent.head, StartsWith(one.request + " HTTP/1.1\r\n"));
    EXPECT_EQ(sent.has("Authorization: Bearer SECRET"), !open);
    EXPECT_EQ(sent.has("Content-Type: application/json"), one.name != "user");
    const Value& body = at(one.row, "body");
    EXPECT_EQ(sent.body, body.isNull() ? sent.body : written(body));
    EXPECT_EQ(sent.body.empty(), !one.request.starts_with("P"));
    if (const Array* expected = at(one.row, "log").asArray()) {
      auto lines = log->lines();
      for (std::string& line : lines) {
        const std::size_t place = line.find(one.good);
        if (place != std::string::npos) line.replace(place, one.good.size(), "ANSWER");
      }
      EXPECT_EQ(Value(Array(lines.begin(), lines.end())), Value(*expected));
    }
  }
  EXPECT_EQ(server.requests().size(), operations.size() + 2) << "no token for the health";
}

TEST_F(ServerTest, AnAnswerThatDoesNotComeWholeOrComesTooLateOrIsTooLargeIsAnErrorOfTheNetwork) {
  const auto peak = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
  };
  const auto before = peak();
  for (const Value& row : *at(cases(), "lost").asArray()) {
    SCOPED_TRACE(textAt(row, "what"));
    for (const Step step : kSteps) {
      answerWith(step, answerOf(row));
      LoopbackServer server(handler);
      const double idle = at(row, "idle").doubleValue(), whole = at(row, "whole").doubleValue();
      connect(server.url(""), idle, idle + whole > 0 ? whole : 20);
      expectFailure(step, networkError(at(row, "code").integerValue()));
      // What would have come behind has not been sent.
      for (const LoopbackRequest& request : server.requests())
        EXPECT_GE(stepOf(pathOf(request)), step);
    }
  }
  EXPECT_LT(peak() - before, PEAK_MEGABYTES) << "MiB, for answers of 1 GB to 25 requests at once";
  connect("http://127.0.0.1:1");
  for (const Step step : kSteps)
    expectFailure(step, networkError(-1004));
}

TEST_F(ServerTest, ASlowAnswerIsWaitedForAsLongAsBytesCome) {
  LoopbackServer slow([](const auto&) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
    return LoopbackAnswer{{head, "1"}, LoopbackAnswer::Close, 100ms, 9};
  });
  connect(slow.url(""), 0.9, 0);
  EXPECT_THAT(run({operations[6]}, Own), ElementsAre("<10 bytes>"));
}

TEST_F(ServerTest, ARefusalIsReadAsItsBodySaysOrElseByItsStatus) {
  LoopbackServer server(handler);
  connect(server.url(""));
  const Value& table = at(cases(), "refusals");
  for (const auto& [status, word] : *at(table, "statuses").asDictionary()) {
    for (const auto& [body, text] : *at(table, "bodies").asDictionary()) {
      // What has a status of its own stands there with its code.
      std::string end = (text == Value("") ? word : text).description();
      if (!end.starts_with("com.quillfold"))
        end = fmt::format("com.quillfold.api 3: Server error {}: {}", status, end);
      for (const Step step : kSteps) {
        answerWith(step, {{httpText(std::stoi(status), bytes(body))}});
        expectFailure(step, end);
      }
    }
  }
}

TEST_F(ServerTest, ASuccessIsReadByEachInItsOwnWay) {
  LoopbackServer server(handler);
  connect(server.url(""));
  const Value& table = at(cases(), "successes");
  const Array& bodies = *at(table, "bodies").asArray();
  for (const int status : {200, 204, 299, 300, 304, 399}) {
    // The first body is none, as it has to be with two of them.
    for (std::size_t i = 0; i < (status % 100 == 4 ? 1 : bodies.size()); ++i) {
      const std::string body = bytes(bodies[i].description());
      for (const Step step : kSteps) {
        answerWith(step, {{httpText(status, body)}});
        expectEnds(step, [&](const Operation& one) {
          const std::string reading = step == Token ? "token" : step == User ? "user" : one.reading;
          std::string end = at(at(table, "ends"), reading).asArray()->at(i).description();
          // Nothing to upload for.
          if (step == User && one.name != "user") end = "E2";
          if (end == "WHOLE") return json(body).description();
          return end[0] == 'E' ? textAt(at(cases(), "errors"), end) : end;
        });
      }
    }
  }
}

TEST_F(ServerTest, ASourceThatIsThereAlreadyIsMadeUpOnTheThreadOfTheSession) {
  LoopbackServer server(handler);
  connect(server.url(""));
  const Value& row = at(cases(), "exists");
  answerWith(Own, {{httpText(500, textAt(row, "body"))}});
  endsOnMain = false;
  EXPECT_THAT(run({operations[4]}, Own), ElementsAre(textAt(row, "end")));
}

TEST_F(ServerTest, ARedirectIsFollowedWithTheTokenAtItsOriginAlone) {
  answerWith(Token, {});
  auto some = operationsWith(Own);
  some.push_back(operations[1]);
  LoopbackServer straight(handler);
  connect(straight.url(""));
  const auto good = run(some, Own);
  enum Target { Here, OtherPort, OtherHost };
  for (const Target target : {Here, OtherPort, OtherHost}) {
    for (const int status : {301, 302, 303, 307, 308}) {
      SCOPED_TRACE(fmt::format("{} to {}", status, target));
      // What stands under "/there" is answered well, all else sent there, under its method.
      std::string there[] = {"/there/", "/there/", "/there/"};
      const LoopbackServer::Handler move = [&](LoopbackRequest request) -> LoopbackAnswer {
        if (const auto place = request.head.find("/there/"); place != std::string::npos) {
          request.head.erase(0, place + 7);
          return answerTo({0, request.head.insert(request.head.find('/'), " "), {}});
        }
        const std::string path = there[target] + methodOf(request) + pathOf(request);
        return {{httpText(status, "?", "Location: " + path + "\r\n")}};
      };
      LoopbackServer server(move), other(move);
      const std::string here = server.hostAndPort(), port = here.substr(here.find(':'));
      there[OtherPort].insert(0, other.url(""));
      there[OtherHost].insert(0, "http://other.test" + port);
      CurlOptions options;
      options.connectTo["other.test" + port] = here;
      connect(server.url(""), 0, 20, options);
      EXPECT_EQ(run(some, Own), good);
      auto requests = server.requests(), others = other.requests();
      requests.insert(requests.end(), others.begin(), others.end());
      // Bodies by method and path, as they have to come and as they came.
      std::map<std::string, std::string> sent, came;
      for (const LoopbackRequest& request : requests) {
        const std::string path = pathOf(request), method = methodOf(request);
        if (path.starts_with("/there/")) {
          came[method + path.substr(path.find('/', 7))] = request.body;
          const bool token = target == Here && path != "/there/GET/health";
          EXPECT_EQ(request.has("Authorization: Bearer SECRET"), token);
          EXPECT_EQ(request.head.find("SECRET") != std::string::npos, token);
        } else {
          const bool asks = status == 303 || (status < 303 && method == "POST");
          sent[(asks ? "GET" : method) + path] = asks ? "" : request.body;
        }
      }
      EXPECT_EQ(came, sent);
    }
  }
}

TEST_F(ServerTest, APostIsNeverSentTwice) {
  answerWith(Token, {});
  for (const Operation& one : operationsWith(Own)) {
    std::atomic<int> times = 0;
    LoopbackServer server([&](const LoopbackRequest& request) -> LoopbackAnswer {
      const bool mine = request.head.starts_with(one.request + ' ');
      return mine && ++times == 1 ? LoopbackAnswer{{}, LoopbackAnswer::Close} : answerTo(request);
    });
    connect(server.url(""));
    // Leaves a connection for the next one, which then breaks.
    run({operations[1]}, Own);
    const std::string end = run({one}, Own)[0];
    const bool posted = one.request.starts_with("POST");
    EXPECT_EQ(times, posted ? 1 : 2) << one.name;
    EXPECT_EQ(end == networkError(-1005), posted) << end;
  }
}

TEST_F(ServerTest, CancellingEndsEveryRequest) {
  for (const Step step : kSteps) {
    answerWith(step, {});
    const std::size_t count = operationsWith(step).size();
    std::atomic<std::size_t> asked = 0;
    LoopbackServer server([&](const LoopbackRequest& request) {
      // Two uploads have asked for the user before.
      if (++asked == count + (step == Own ? 2 : 0)) {
        api->cancelAllRequests();
        api->cancelAllRequests();
      }
      return answerTo(request);
    });
    connect(server.url(""));
    expectFailure(step, networkError(-999));
    EXPECT_TRUE(log->contains(fmt::format("Cancelled {} pending API requests", count)));
  }
  EXPECT_TRUE(log->contains("[GET] /x network error: cancelled"));
  EXPECT_TRUE(log->contains("[SOCIAL] /y network error: cancelled"));
}

}  // namespace
}  // namespace quillfold::testing
