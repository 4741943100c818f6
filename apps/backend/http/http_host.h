// Serves HTTP/1.1 on one address.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "apps/backend/http/connection.h"
#include "apps/backend/http/exchange.h"

namespace quillfold::backend {

// The HTTP library's parser and writer over connections of our own, which lets
// it stop at once, bound every body and cut an answer off.
class HttpHost : private httplib::Server {
 public:
  // Called on the connections' threads, several at once.
  using Handler = std::function<HttpAnswer(const HttpRequest&)>;
  using Observer = std::function<void(const LoggedRequest&)>;

  static constexpr std::size_t kPayloadLimit = std::size_t{64} * 1024 * 1024;

  // The observer hears of each request just before its answer goes out.
  HttpHost(Handler handler, Observer observer);
  ~HttpHost() override;

  // Listens and returns the port; 0 asks for any free one. Throws
  // std::runtime_error if the address cannot be had. May be called once.
  int start(const std::string& host, int port);

  // Ends every connection and waits for the threads. May be called again.
  void stop();

 private:
  bool process_and_close_socket(socket_t socket) override;

  void serve(Connection& connection);
  void prepare(httplib::Request& request);
  void answer(const httplib::Request& request, httplib::Response& response,
              const httplib::ContentReader* reader);
  void deliver(const HttpAnswer& answer, httplib::Response& response);
  void observe(const httplib::Request& request, const httplib::Response& response);
  void routeEverything();
  void waitUnlessStopped(std::chrono::milliseconds delay);

  const Handler handler_;
  const Observer observer_;
  std::mutex lifecycle_;  // Held while starting and stopping.
  std::thread acceptor_;
  std::promise<void> listening_;

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;              // Guarded by mutex_.
  std::set<Connection*> connections_;  // Guarded by mutex_.
};

}  // namespace quillfold::backend
