// One HTTP request of the host's own, on cpp-httplib.
#pragma once

#include <httplib.h>
#include <quillfold/platform.h>

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace host {

using namespace quillfold;

// All requests run here, one after the other, and their completions. It ends with the
// process, as the threads of the library do.
inline asio::thread_pool& requestThread() {
  static auto& thread = *new asio::thread_pool(1);
  return thread;
}

class HttpTask : public NSURLSessionTask, public std::enable_shared_from_this<HttpTask> {
 public:
  HttpTask(const std::string& origin, double idleSeconds, NSMutableURLRequest request,
           URLCompletion completion)
      : client_(origin), request_(std::move(request)), completion_(std::move(completion)) {
    const auto seconds = static_cast<time_t>(idleSeconds);
    client_.set_connection_timeout(seconds);
    client_.set_read_timeout(seconds);
    client_.set_write_timeout(seconds);
  }

  void resume() override {
    if (!started_.exchange(true))
      asio::post(requestThread(), [self = shared_from_this()] { self->run(); });
  }
  void cancel() override {
    cancelled_ = true;
    client_.stop();
    resume();  // A task that was never started ends, too.
  }
  bool hasEnded() const { return ended_; }

 private:
  void run() {
    URLResult result = cancelled_ ? URLResult() : perform();
    if (cancelled_) result = failed(NSURLErrorCancelled, "Cancelled");
    ended_ = true;
    std::exchange(completion_, nullptr)(std::move(result));
  }
  URLResult perform() {
    httplib::Request sent;
    sent.method = request_.httpMethod;
    // What stands behind scheme and host.
    sent.path = request_.url.substr(request_.url.find('/', request_.url.find("://") + 3));
    sent.headers.insert(request_.headers.begin(), request_.headers.end());
    if (request_.httpBody) sent.body = request_.httpBody->bytes();
    const auto answer = client_.send(sent);
    if (answer) return {Data(answer->body), NSHTTPURLResponse{answer->status}, nullptr};
    return failed(answer.error() == httplib::Error::Connection ? NSURLErrorCannotConnectToHost
                                                               : NSURLErrorNetworkConnectionLost,
                  "HTTP: " + httplib::to_string(answer.error()));
  }
  static URLResult failed(NSURLErrorCode code, std::string text) {
    const Dictionary information{{NSLocalizedDescriptionKey, std::move(text)}};
    return {{}, {}, NSError::errorWithDomain(NSURLErrorDomain, code, information)};
  }

  httplib::Client client_;
  const NSMutableURLRequest request_;
  URLCompletion completion_;
  std::atomic<bool> started_ = false, cancelled_ = false, ended_ = false;
};

}  // namespace host
