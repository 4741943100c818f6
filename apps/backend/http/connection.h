// One accepted connection, read and written by the HTTP library.
#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <string>

namespace quillfold::backend {

// Used by the one thread that serves the connection; only `interrupt` may be
// called from another. Does not own the socket.
class Connection : public httplib::Stream {
 public:
  Connection(socket_t socket, std::chrono::milliseconds timeout)
      : socket_(socket), timeout_(timeout) {}

  // Waits for the first byte of the next request. False if none came in time or
  // the connection is closed.
  bool waitForRequest(std::chrono::milliseconds keepAlive);
  // Closes the connection without another byte.
  void dropAnswer();
  // Ends whatever the serving thread waits for. The socket must still be open.
  void interrupt();

  std::chrono::steady_clock::time_point requestBegan() const { return requestBegan_; }

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, size_t size) override;
  ssize_t write(const char* bytes, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  bool waitFor(short events, std::chrono::milliseconds timeout) const;

  const socket_t socket_;
  const std::chrono::milliseconds timeout_;
  std::chrono::steady_clock::time_point requestBegan_;
  // The library reads a request's head byte by byte.
  std::array<char, 16384> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace quillfold::backend
