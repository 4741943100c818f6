// Bytes as whatever a server sends for a request, through the real session.
#include <asio/ip/tcp.hpp>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>

#include "adapters/curl/curl_session.h"
#include "foundation/signals.h"
#include "fuzz/subject.h"

namespace quillfold::fuzz::http {
namespace {

using asio::ip::tcp;

constexpr std::size_t kMostBytes = 10'000;

// Sends the same bytes on every connection, as an answer to whatever came first, and then
// the end.
class Server {
 public:
  Server() {
    // libFuzzer's timer would interrupt it.
    withSignalsBlocked([this] {
      std::thread([this] {
        for (;;)
          serve();
      }).detach();
    });
  }

  std::string port() const { return std::to_string(acceptor_.local_endpoint().port()); }
  void setAnswer(std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    answer_ = bytes;
  }

 private:
  void serve() {
    tcp::socket socket = acceptor_.accept();
    char buffer[4096];
    std::error_code error;
    socket.read_some(asio::buffer(buffer), error);
    std::unique_lock lock(mutex_);
    const std::string answer = answer_;
    lock.unlock();
    // The end comes with the last bytes, so that no client takes the connection for good.
    socket.send(asio::buffer(answer), MSG_MORE, error);
    socket.shutdown(tcp::socket::shutdown_send, error);
  }

  asio::io_context io_;
  tcp::acceptor acceptor_{io_, {asio::ip::address_v4::loopback(), 0}};
  std::mutex mutex_;
  std::string answer_;
};

// Whatever the address, connections go to the one server.
std::shared_ptr<NSURLSession> sessionTo(const Server& server) {
  for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  CurlOptions options;
  options.connectTo[":"] = "127.0.0.1:" + server.port();
  options.maximumBodySize = kMostBytes;
  // Reading the system's certificates takes longest by far.
  options.certificateFile = "/dev/null";
  return makeCurlSessionFactory(std::move(options))->sessionWithConfiguration({2, 5});
}

// The end of one request, which comes once and soon.
URLResult load(NSURLSession& session, const std::string& method) {
  using namespace std::chrono_literals;
  // A second end would break the promise, and the process.
  const auto end = std::make_shared<std::promise<URLResult>>();
  const auto open = std::make_shared<std::promise<std::size_t>>();
  session
      .dataTaskWithRequest({"http://example.com/a", method, {}, {}},
                           [end](URLResult result) { end->set_value(std::move(result)); })
      ->resume();
  auto result = end->get_future();
  require(result.wait_for(8s) == std::future_status::ready);
  session.getTasksWithCompletionHandler(
      [open](const URLSessionTasks& tasks) { open->set_value(tasks.dataTasks.size()); });
  require(open->get_future().get() == 0);
  return result.get();
}

void run(std::string_view bytes) {
  static Server& server = *new Server;
  static const auto& session = *new std::shared_ptr(sessionTo(server));
  server.setAnswer(bytes);
  for (const char* method : {"GET", "POST"}) {
    const URLResult result = load(*session, method);
    require(result.response.has_value() == !result.error);
    require(result.body.size() <= kMostBytes);
    if (result.response) {
      require(result.response->statusCode >= 200 && result.response->statusCode < 1000);
      continue;
    }
    require(result.body.empty() && result.error->domain() == NSURLErrorDomain);
    require(result.error->code() != NSURLErrorCancelled);
    require(!result.error->localizedDescription().empty());
  }
}

const Subject subject("http", run);

}  // namespace
}  // namespace quillfold::fuzz::http
