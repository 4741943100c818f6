#include "apps/backend/http/connection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace quillfold::backend {
namespace {

void addressOf(int (*nameOf)(int, sockaddr*, socklen_t*), socket_t socket, std::string& ip,
               int& port) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> service{};
  if (nameOf(socket, generic, &size) != 0 ||
      getnameinfo(generic, size, host.data(), host.size(), service.data(), service.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return;
  }
  ip = host.data();
  port = std::atoi(service.data());
}

}  // namespace

bool Connection::waitFor(short events, std::chrono::milliseconds timeout) const {
  pollfd entry{socket_, events, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, static_cast<int>(timeout.count()));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

bool Connection::waitForRequest(std::chrono::milliseconds keepAlive) {
  const bool here = begin_ < end_ || waitFor(POLLIN, keepAlive);
  requestBegan_ = std::chrono::steady_clock::now();
  return here;
}

void Connection::dropAnswer() {
  shutdown(socket_, SHUT_RDWR);
}

void Connection::interrupt() {
  shutdown(socket_, SHUT_RDWR);
}

bool Connection::is_readable() const {
  return begin_ < end_ || waitFor(POLLIN, timeout_);
}

bool Connection::is_writable() const {
  return waitFor(POLLOUT, timeout_);
}

ssize_t Connection::read(char* bytes, size_t size) {
  if (begin_ == end_) {
    if (!is_readable()) return -1;
    ssize_t got = 0;
    do {
      got = recv(socket_, buffer_.data(), buffer_.size(), 0);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return got;
    begin_ = 0;
    end_ = static_cast<std::size_t>(got);
  }
  const std::size_t count = std::min(size, end_ - begin_);
  std::memcpy(bytes, buffer_.data() + begin_, count);
  begin_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, size_t size) {
  if (!is_writable()) return -1;
  ssize_t sent = 0;
  do {
    sent = send(socket_, bytes, size, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  addressOf(getpeername, socket_, ip, port);
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
  addressOf(getsockname, socket_, ip, port);
}

}  // namespace quillfold::backend
