// A raw HTTP server on a free port of the loopback interface.
#pragma once

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillfold {

struct LoopbackRequest {
  std::size_t connection = 0;  // counted from 0
  std::string head;            // the lines up to the empty one, each with its end
  std::string body;
  bool has(const std::string& line) const { return head.find(line + "\r\n") != std::string::npos; }
};

// Bytes to send, with a gap before each piece, the last of which comes again that often. No
// piece and no end: silence.
struct LoopbackAnswer {
  std::vector<std::string> pieces;
  enum { KeepOpen, Close, Reset } end = KeepOpen;
  std::chrono::milliseconds gap{0};
  std::size_t again = 0;
};

// The bytes of an answer; further header lines each end with "\r\n".
std::string httpText(int status, const std::string& body, const std::string& headers = "");

class LoopbackServer {
 public:
  using Handler = std::function<LoopbackAnswer(const LoopbackRequest&)>;

  // The handler runs on the thread of the connection.
  explicit LoopbackServer(Handler handler) : handler_(std::move(handler)) {}
  ~LoopbackServer();

  std::string hostAndPort() const {
    return "127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
  }
  std::string url(const std::string& path) const { return "http://" + hostAndPort() + path; }
  // What has come, once that many have; after five seconds what there is.
  std::vector<LoopbackRequest> requests(std::size_t atLeast = 0);

 private:
  using Socket = asio::ip::tcp::socket;

  void acceptAll();
  void serve(Socket& socket, std::size_t connection);
  bool send(Socket& socket, const LoopbackAnswer& answer);

  const Handler handler_;
  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_{io_, {asio::ip::address_v4::loopback(), 0}};
  std::list<Socket> sockets_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::vector<LoopbackRequest> requests_;
  std::vector<std::jthread> threads_;
  std::jthread accepting_{[this] { acceptAll(); }};
};

}  // namespace quillfold
