#include "tests/support/loopback_server.h"

#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>

#include "foundation/format.h"

namespace quillfold {

std::string httpText(int status, const std::string& body, const std::string& headers) {
  return fmt::format("HTTP/1.1 {} Text\r\nContent-Length: {}\r\n{}\r\n{}", status, body.size(),
                     headers, body);
}

LoopbackServer::~LoopbackServer() {
  // Closing would not wake the thread that accepts.
  ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
  accepting_.join();
  std::unique_lock lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
  std::error_code ignored;
  for (Socket& socket : sockets_)
    socket.shutdown(Socket::shutdown_both, ignored);
}

std::vector<LoopbackRequest> LoopbackServer::requests(std::size_t atLeast) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= atLeast; });
  return requests_;
}

void LoopbackServer::acceptAll() {
  std::error_code error;
  while (!acceptor_.accept(sockets_.emplace_back(io_), error)) {
    threads_.emplace_back(&LoopbackServer::serve, this, std::ref(sockets_.back()), threads_.size());
  }
}

void LoopbackServer::serve(Socket& socket, std::size_t connection) {
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
bool LoopbackServer::send(Socket& socket, const LoopbackAnswer& answer) {
  const std::size_t last = answer.pieces.size() - 1;
  std::error_code error;
  for (std::size_t i = 0; i < answer.pieces.size() + answer.again; ++i) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, answer.gap, [this] { return stopping_; })) return false;
    lock.unlock();
    asio::write(socket, asio::buffer(answer.pieces[std::min(i, last)]), error);
    if (error) return false;
  }
  const std::lock_guard lock(mutex_);
  if (answer.end == LoopbackAnswer::Close) socket.shutdown(Socket::shutdown_both, error);
  if (answer.end == LoopbackAnswer::Reset) {
    socket.set_option(Socket::linger(true, 0), error);
    socket.close(error);
  }
  return answer.end == LoopbackAnswer::KeepOpen;
}

}  // namespace quillfold
