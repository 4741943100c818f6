// An LDAP directory of one contact.
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillfold {

class DirectoryServer {
 public:
  DirectoryServer() {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if ((bind(ends_[0].fd, name, size) | listen(ends_[0].fd, 9) |
         getsockname(ends_[0].fd, name, &size)) != 0) {
      throw std::runtime_error("no socket");
    }
    port = std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { serve(); });
  }
  ~DirectoryServer() {
    shutdown(ends_[0].fd, SHUT_RDWR);
    thread_.join();
    for (const pollfd& end : ends_)
      close(end.fd);
  }

  static constexpr const char* kContact = "cn=Dir";
  std::string port;
  std::atomic<bool> mute = false;  // Says nothing at all.
  std::atomic<bool> slow = false;  // Answers no search.
  std::atomic<int> waiting = 0;    // The searches without an answer.

 private:
  static std::string item(int tag, const std::string& body) {
    return std::string{static_cast<char>(tag), static_cast<char>(body.size())} + body;
  }
  // The body of the first item, which is taken off.
  static std::string take(std::string& items) {
    std::size_t begin = 2, size = static_cast<unsigned char>(items.at(1));
    if (size > 0x80) {
      for (begin += size - 0x80, size = 0; const char digit : items.substr(2, begin - 2))
        size = size << 8 | static_cast<unsigned char>(digit);
    }
    std::string body = items.substr(begin, size);
    items.erase(0, begin + size);
    return body;
  }
  void serve() {
    while (poll(ends_.data(), ends_.size(), -1) > 0 && !(ends_[0].revents & POLLHUP)) {
      for (std::size_t i = 1; i < ends_.size(); ++i) {
        char bytes[4096];
        const auto size = ends_[i].revents ? recv(ends_[i].fd, bytes, sizeof bytes, 0) : 0;
        if (size > 0) answer(ends_[i].fd, {bytes, static_cast<std::size_t>(size)});
        if (ends_[i].revents && size <= 0) close(std::exchange(ends_[i].fd, -1));
      }
      if (ends_[0].revents) ends_.push_back({accept(ends_[0].fd, nullptr, nullptr), POLLIN, 0});
    }
  }
  void answer(int client, std::string messages) {
    while (!messages.empty()) {
      std::string message = take(messages);
      const std::string id = item(2, take(message));
      const int operation = message.at(0);
      std::string search = take(message), answer;
      if (mute || (operation != 0x60 && operation != 0x63 && operation != 0x68)) continue;
      if (operation == 0x63 && (take(search), take(search))[0] != 0) {
        if (slow && ++waiting) continue;
        const auto attribute = [](const char* name, const char* value) {
          return item(0x30, item(4, name) + item(0x31, item(4, value)));
        };
        answer = item(0x30, id + item(0x64, item(4, kContact) +
                                                item(0x30, attribute("objectClass", "person") +
                                                               attribute("cn", "Dir"))));
      }
      answer += item(0x30, id + item(operation + (operation == 0x63 ? 2 : 1),
                                     item(10, {'\0'}) + item(4, "") + item(4, "")));
      send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    }
  }

  std::vector<pollfd> ends_{{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), POLLIN, 0}};
  std::thread thread_;
};

}  // namespace quillfold
