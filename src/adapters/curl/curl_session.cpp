#include "adapters/curl/curl_session.h"

#include "adapters/curl/curl_url.h"
#include "adapters/curl/curl_worker.h"

namespace quillfold {

namespace {

// The worker may outlive the session: it still has completions to run.
class CurlSession : public NSURLSession {
 public:
  CurlSession(std::shared_ptr<CurlWorker> worker, std::string origin)
      : worker_(std::move(worker)), origin_(std::move(origin)) {}
  ~CurlSession() override { worker_->close(); }

  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest request,
                                                        URLCompletion completion) override {
    if (!origin_.empty()) request.url = atOrigin(request.url, origin_);
    return worker_->addTask(std::move(request), std::move(completion));
  }

  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) override {
    worker_->listTasks(std::move(handler));
  }

 private:
  const std::shared_ptr<CurlWorker> worker_;
  const std::string origin_;
};

class CurlSessionFactory : public URLSessionFactory {
 public:
  explicit CurlSessionFactory(CurlOptions options) : options_(std::move(options)) {}

  std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration) override {
    NSURLSessionConfiguration limited = configuration;
    if (options_.idleTimeout > 0) limited.timeoutIntervalForRequest = options_.idleTimeout;
    if (options_.requestTimeout > 0) limited.timeoutIntervalForResource = options_.requestTimeout;
    return std::make_shared<CurlSession>(std::make_shared<CurlWorker>(options_, limited),
                                         options_.origin);
  }

 private:
  const CurlOptions options_;
};

}  // namespace

std::shared_ptr<URLSessionFactory> makeCurlSessionFactory(CurlOptions options) {
  return std::make_shared<CurlSessionFactory>(std::move(options));
}

}  // namespace quillfold
