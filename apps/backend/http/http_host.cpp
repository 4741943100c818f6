#include "apps/backend/http/http_host.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <list>
#include <stdexcept>
#include <system_error>

#include "apps/backend/http/errors.h"

namespace quillfold::backend {
namespace {

using namespace std::chrono_literals;

constexpr auto kKeepAlive = 30s;
constexpr auto kTransferTimeout = 10s;
constexpr std::size_t kMaxPath = 1024;

// What the HTTP library's hooks, which are told of no connection, work on. Set
// whenever one runs.
struct Exchange {
  Connection& connection;
  bool dropped = false;
  bool broken = false;  // Where the next request begins is not known.
};
thread_local Exchange* currentExchange = nullptr;

// A thread for each connection: with the library's fixed number of threads as
// many idle clients would keep all others waiting.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> connection) override {
    threads_.remove_if([](const auto& thread) { return thread.wait_for(0s) == kEnded; });
    try {
      threads_.push_back(std::async(std::launch::async, connection));
    } catch (const std::system_error&) {
      connection();  // No more threads: new connections wait for this one.
    }
  }

  void shutdown() override { threads_.clear(); }

 private:
  static constexpr auto kEnded = std::future_status::ready;
  std::list<std::future<void>> threads_;  // Letting go of one waits for its end.
};

bool isJson(const std::string& contentType) {
  constexpr std::string_view kJson = "application/json";
  return strncasecmp(contentType.c_str(), kJson.data(), kJson.size()) == 0 &&
         (contentType.size() == kJson.size() || contentType[kJson.size()] == ';' ||
          contentType[kJson.size()] == ' ');
}

// Unlike the library's own choice this refuses a port that another server uses.
void allowPortAgain(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

std::string printable(std::string text) {
  if (text.empty()) return "-";
  for (char& c : text) {
    if (c <= ' ' || c > '~') c = '?';
  }
  return text;
}

HttpRequest plainRequest(const httplib::Request& request) {
  HttpRequest plain;
  plain.method = request.method;
  plain.path = request.path;
  for (const auto& [name, value] : request.params)
    plain.query.emplace(name, value);
  plain.authorization = request.get_header_value("Authorization");
  plain.declaresJson = request.has_header("Content-Type");
  return plain;
}

}  // namespace

HttpHost::HttpHost(Handler handler, Observer observer)
    : handler_(std::move(handler)), observer_(std::move(observer)) {
  set_tcp_nodelay(true);
  set_socket_options(allowPortAgain);
  set_payload_max_length(kPayloadLimit);
  new_task_queue = [this] {
    // The library can be stopped from here on, and not before.
    listening_.set_value();
    return new ConnectionThreads;
  };
  routeEverything();
}

HttpHost::~HttpHost() {
  stop();
}

int HttpHost::start(const std::string& host, int port) {
  const std::lock_guard once(lifecycle_);
  errno = 0;
  const int bound = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
  if (bound <= 0) {
    throw std::runtime_error(
        fmt::format("cannot listen on {}:{}: {}", host, port,
                    errno != 0 ? std::generic_category().message(errno) : "no such address"));
  }
  // The library's own backlog is five connections.
  ::listen(svr_sock_, SOMAXCONN);
  acceptor_ = std::thread([this] { listen_after_bind(); });
  listening_.get_future().wait();
  return bound;
}

void HttpHost::stop() {
  const std::lock_guard once(lifecycle_);
  if (!acceptor_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (Connection* connection : connections_)
      connection->interrupt();
  }
  stopped_.notify_all();
  httplib::Server::stop();
  acceptor_.join();
}

bool HttpHost::process_and_close_socket(socket_t socket) {
  Connection connection(socket, kTransferTimeout);
  bool welcome = false;
  {
    const std::lock_guard lock(mutex_);
    welcome = !stopping_;
    if (welcome) connections_.insert(&connection);
  }
  if (welcome) {
    serve(connection);
    const std::lock_guard lock(mutex_);
    connections_.erase(&connection);
  }
  shutdown(socket, SHUT_RDWR);
  close(socket);
  return true;
}

void HttpHost::serve(Connection& connection) {
  bool closed = false;
  while (!closed && connection.waitForRequest(kKeepAlive)) {
    Exchange exchange{connection};
    currentExchange = &exchange;
    const bool served = process_request(connection, false, closed,
                                        [this](httplib::Request& request) { prepare(request); });
    currentExchange = nullptr;
    if (!served || exchange.dropped || exchange.broken) break;
  }
}

// Keeps what the library would do with a request's head from being more than we
// asked for.
void HttpHost::prepare(httplib::Request& request) {
  // A body without a length is no body; the library would wait for one.
  if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
    request.set_header("Content-Length", "0");
  }
  // Forms would be parsed, and answers be cut by ranges.
  if (!isJson(request.get_header_value("Content-Type"))) request.headers.erase("Content-Type");
  request.ranges.clear();
  // Who takes this server for a proxy names the whole address.
  const auto authority = request.path.find("://");
  if (!request.path.starts_with('/') && authority != std::string::npos) {
    request.path.erase(0, request.path.find('/', authority + 3));
  }
  // The library matches paths by recursion; no path of ours is that long.
  if (request.path.size() > kMaxPath) request.path.resize(kMaxPath);
}

void HttpHost::routeEverything() {
  const std::string any = "[\\s\\S]*";
  const auto bare = [this](const httplib::Request& request, httplib::Response& response) {
    answer(request, response, nullptr);
  };
  const auto reading = [this](const httplib::Request& request, httplib::Response& response,
                              const httplib::ContentReader& reader) {
    answer(request, response, &reader);
  };
  Get(any, bare).Options(any, bare);
  Post(any, reading).Put(any, reading).Patch(any, reading).Delete(any, reading);
  set_exception_handler(
      [](const auto&, httplib::Response& response, std::exception_ptr) { response.status = 500; });
  set_error_handler([](const httplib::Request&, httplib::Response& response) {
    // Only what the library refused by itself has no content type yet.
    if (response.has_header("Content-Type")) return;
    currentExchange->broken = true;
    response.set_header("Connection", "close");
    const auto refusal = HttpError(response.status, "The request is not valid HTTP").answer();
    response.set_content(refusal.body, refusal.contentType);
  });
  set_post_routing_handler([this](const auto& request, httplib::Response& response) {
    response.headers.erase("Keep-Alive");  // Tells the library's limits, not ours.
    observe(request, response);
    if (currentExchange->dropped) currentExchange->connection.dropAnswer();
  });
}

void HttpHost::answer(const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader* reader) {
  HttpRequest plain = plainRequest(request);
  // The rest of too large a body is still read, so that the client comes to read
  // the answer; the library itself bounds only bodies of a declared length.
  const auto keep = [&plain](const char* bytes, std::size_t size) {
    plain.tooLarge = plain.tooLarge || size > kPayloadLimit - plain.body.size();
    if (!plain.tooLarge) plain.body.append(bytes, size);
    return true;
  };
  if (reader != nullptr && !(*reader)(keep)) {
    if (response.status != 413) return;
    plain.tooLarge = true;
  }
  deliver(handler_(plain), response);
}

void HttpHost::deliver(const HttpAnswer& answer, httplib::Response& response) {
  response.status = answer.status;
  for (const auto& [name, value] : answer.headers)
    response.set_header(name, value);
  waitUnlessStopped(answer.delay);
  if (answer.delivery == Delivery::kTruncated && !answer.body.empty()) {
    response.set_content_provider(
        answer.body.size(), answer.contentType,
        [body = answer.body](std::size_t, std::size_t, httplib::DataSink& sink) {
          sink.write(body.data(), body.size() / 2);
          return false;
        });
    return;
  }
  response.set_content(answer.body, answer.contentType);
  currentExchange->dropped = answer.delivery == Delivery::kDropped;
}

void HttpHost::observe(const httplib::Request& request, const httplib::Response& response) {
  LoggedRequest logged;
  logged.method = printable(request.method);
  logged.path = printable(request.path);
  logged.status = currentExchange->dropped ? 0 : response.status;
  logged.answerBytes = std::max(response.body.size(), response.content_length_);
  logged.duration = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - currentExchange->connection.requestBegan());
  observer_(logged);
}

void HttpHost::waitUnlessStopped(std::chrono::milliseconds delay) {
  if (delay <= 0ms) return;
  std::unique_lock lock(mutex_);
  stopped_.wait_for(lock, delay, [this] { return stopping_; });
}

}  // namespace quillfold::backend
