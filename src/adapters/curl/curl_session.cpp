#include "adapters/curl/curl_session.h"

#include "adapters/curl/curl_worker.h"

namespace quillfold {

namespace {

// The worker may outlive the session: it still has completions to run.
class CurlSession : public NSURLSession {
 public:
  explicit CurlSession(std::shared_ptr<CurlWorker> worker) : worker_(std::move(worker)) {}
  ~CurlSession() override { worker_->close(); }

  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest request,
                                                        URLCompletion completion) override {
    return worker_->addTask(std::move(request), std::move(completion));
  }

  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) override {
    worker_->listTasks(std::move(handler));
  }

 private:
  const std::shared_ptr<CurlWorker> worker_;
};

class CurlSessionFactory : public URLSessionFactory {
 public:
  explicit CurlSessionFactory(CurlOptions options) : options_(std::move(options)) {}

  std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration) override {
    return std::make_shared<CurlSession>(std::make_shared<CurlWorker>(options_, configuration));
  }

 private:
  const CurlOptions options_;
};

}  // namespace

std::shared_ptr<URLSessionFactory> makeCurlSessionFactory(CurlOptions options) {
  return std::make_shared<CurlSessionFactory>(std::move(options));
}

}  // namespace quillfold
