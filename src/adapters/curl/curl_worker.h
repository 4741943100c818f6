// The thread of a session, and the tasks that have not ended.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "adapters/curl/curl_session.h"
#include "platform/url_session.h"

namespace quillfold {

class CurlTask;

// Whatever other threads want of it goes through the inbox, so that everything
// that touches libcurl or calls out happens on the one thread. The thread keeps the
// worker alive and ends by itself once the worker is closed and the last task has
// ended; nobody waits for it.
class CurlWorker : public std::enable_shared_from_this<CurlWorker> {
 public:
  CurlWorker(CurlOptions options, const NSURLSessionConfiguration& configuration);

  // A suspended task. Kept here until it has ended. Any thread, as all of these.
  std::shared_ptr<NSURLSessionTask> addTask(NSMutableURLRequest request, URLCompletion completion);
  void resume(const std::shared_ptr<CurlTask>& task);
  void cancel(const std::shared_ptr<CurlTask>& task);
  void listTasks(std::function<void(URLSessionTasks)> handler);
  // Cancels all tasks. No task may be added after this.
  void close();

 private:
  struct Ended {
    std::shared_ptr<CurlTask> task;
    URLResult result;
  };
  using Work = std::function<void()>;
  using OpenTasks = std::map<std::uint64_t, std::shared_ptr<CurlTask>>;

  // With the mutex held.
  void post(Work work);
  void postForOpen(const CurlTask& task, Work work);

  // On the worker's thread.
  void run();
  void runInbox();
  void begin(const std::shared_ptr<CurlTask>& task);
  void abandon(const std::shared_ptr<CurlTask>& task);
  void finish(CurlTask& task, URLResult result);
  std::vector<Ended> advance();
  Ended takeOut(CURL* handle, CURLcode code);
  int pollTimeout() const;
  bool isDone();

  OpenTasks openTasks();

  const CurlOptions options_;
  const NSURLSessionConfiguration configuration_;

  std::mutex mutex_;
  std::uint64_t lastId_ = 0;
  OpenTasks open_;
  std::vector<Work> inbox_;
  bool closed_ = false;
  // Set once, together with the thread, which then reads it freely and frees it.
  CURLM* multi_ = nullptr;

  // Of the worker's thread: the tasks under way.
  std::map<CURL*, std::shared_ptr<CurlTask>> running_;
};

}  // namespace quillfold
