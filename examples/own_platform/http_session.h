// The sessions that the library asks for, over HttpTask.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "http_task.h"

namespace host {

class HttpSession : public NSURLSession {
 public:
  HttpSession(std::string origin, double idleSeconds)
      : origin_(std::move(origin)), idleSeconds_(idleSeconds) {}
  ~HttpSession() override {
    for (const auto& task : unended())
      task->cancel();
  }

  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest request,
                                                        URLCompletion completion) override {
    auto task = std::make_shared<HttpTask>(origin_, idleSeconds_, std::move(request),
                                           std::move(completion));
    const std::lock_guard lock(mutex_);
    std::erase_if(tasks_, [](const auto& known) { return known.expired(); });
    tasks_.push_back(task);
    return task;
  }
  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) override {
    asio::post(requestThread(), [tasks = unended(), handler = std::move(handler)] {
      URLSessionTasks found;
      for (const auto& task : tasks) {
        if (!task->hasEnded()) found.dataTasks.push_back(task);
      }
      handler(std::move(found));
    });
  }

 private:
  std::vector<std::shared_ptr<HttpTask>> unended() {
    std::vector<std::shared_ptr<HttpTask>> found;
    const std::lock_guard lock(mutex_);
    for (const auto& known : tasks_) {
      if (auto task = known.lock(); task && !task->hasEnded()) found.push_back(std::move(task));
    }
    return found;
  }

  const std::string origin_;
  const double idleSeconds_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<HttpTask>> tasks_;
};

class HttpSessions : public URLSessionFactory {
 public:
  // Scheme, host and port that all requests go to.
  explicit HttpSessions(std::string origin) : origin_(std::move(origin)) {}

  std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration) override {
    return std::make_shared<HttpSession>(origin_, configuration.timeoutIntervalForRequest);
  }

 private:
  const std::string origin_;
};

}  // namespace host
