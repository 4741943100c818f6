#include "tests/support/loopback_server.h"

#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>

#include "platform/format.h"

namespace quillfold {

using asio::ip::tcp;

std::string httpText(int status, const std::string& body, const std::string& headers) {
  return fmt::format("HTTP/1.1 {} Text\r\nContent-Length: {}\r\n{}\r\n{}", status, body.size(),
                     headers, body);
}

LoopbackServer::LoopbackServer(Handler handler)
    : handler_(std::move(handler)),
      acceptor_(io_, {asio::ip::address_v4::loopback(), 0}),
      accepting_([this] { acceptAll(); }) {}

LoopbackServer::~LoopbackServer() {
  // Closing would not wake the thread that accepts.
  ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
  accepting_.join();
  std::unique_lock lock(mutex_);
  stopping_ = true;
  lock.unlock();
  changed_.notify_all();
  std::error_code ignored;
  for (tcp::socket& socket : sockets_)
    socket.shutdown(tcp::socket::shutdown_both, ignored);
}

std::string LoopbackServer::hostAndPort() const {
  return fmt::format("127.0.0.1:{}", acceptor_.local_endpoint().port());
}

std::vector<LoopbackRequest> LoopbackServer::requests(std::size_t atLeast) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= atLeast; });
  return requests_;
}

void LoopbackServer::acceptAll() {
  std::error_code error;
  for (tcp::socket socket(io_); !acceptor_.accept(socket, error); socket = tcp::socket(io_)) {
    tcp::socket& kept = sockets_.emplace_back(std::move(socket));
    threads_.emplace_back([this, &kept, number = threads_.size()] { serve(kept, number); });
  }
}

void LoopbackServer::serve(tcp::socket& socket, std::size_t connection) {
  constexpr std::string_view kLength = "Content-Length: ";
  std::string received;
  for (std::error_code error;;) {
    const auto end = asio::read_until(socket, asio::dynamic_buffer(received), "\r\n\r\n", error);
    if (error) return;
    LoopbackRequest request{connection, received.substr(0, end - 2), received.substr(end)};
    if (const auto at = request.head.find(kLength); at != std::string::npos) {
      request.body.resize(std::stoul(request.head.substr(at + kLength.size())));
      const auto rest = asio::buffer(request.body) + (received.size() - end);
      if (asio::read(socket, rest, error); error) return;
    }
    received.clear();
    std::unique_lock lock(mutex_);
    requests_.push_back(request);
    lock.unlock();
    changed_.notify_all();
    if (!send(socket, handler_(request))) return;
  }
}

// False once the connection is of no more use.
bool LoopbackServer::send(tcp::socket& socket, const LoopbackAnswer& answer) {
  std::error_code error;
  for (const std::string& piece : answer.pieces) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, answer.gap, [this] { return stopping_; })) return false;
    lock.unlock();
    if (asio::write(socket, asio::buffer(piece), error); error) return false;
  }
  if (answer.close) socket.shutdown(tcp::socket::shutdown_both, error);
  return !answer.close;
}

}  // namespace quillfold
