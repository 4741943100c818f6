#include "adapters/curl/curl_worker.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "adapters/curl/curl_error.h"
#include "adapters/curl/curl_library.h"
#include "adapters/curl/curl_request.h"
#include "adapters/curl/curl_transfer.h"
#include "foundation/signals.h"

namespace quillfold {

class CurlTask : public NSURLSessionTask, public std::enable_shared_from_this<CurlTask> {
 public:
  CurlTask(std::shared_ptr<CurlWorker> owner, std::uint64_t number, NSMutableURLRequest what,
           URLCompletion whenEnded)
      : id(number),
        request(std::move(what)),
        completion(std::move(whenEnded)),
        worker_(std::move(owner)) {}

  void resume() override { worker_->resume(shared_from_this()); }
  void cancel() override { worker_->cancel(shared_from_this()); }

  const std::uint64_t id;
  const NSMutableURLRequest request;
  // Of the worker's thread; the transfer is there while the task is under way.
  URLCompletion completion;
  bool ended = false;
  std::unique_ptr<CurlTransfer> transfer;

 private:
  const std::shared_ptr<CurlWorker> worker_;
};

CurlWorker::CurlWorker(CurlOptions options, const NSURLSessionConfiguration& configuration)
    : options_(std::move(options)), configuration_(configuration) {
  startCurl();
}

std::shared_ptr<NSURLSessionTask> CurlWorker::addTask(NSMutableURLRequest request,
                                                      URLCompletion completion) {
  const std::lock_guard lock(mutex_);
  auto task = std::make_shared<CurlTask>(shared_from_this(), ++lastId_, std::move(request),
                                         std::move(completion));
  open_.emplace(task->id, task);
  return task;
}

void CurlWorker::resume(const std::shared_ptr<CurlTask>& task) {
  postForOpen(*task, [this, task] { begin(task); });
}

void CurlWorker::cancel(const std::shared_ptr<CurlTask>& task) {
  postForOpen(*task, [this, task] { abandon(task); });
}

void CurlWorker::listTasks(std::function<void(URLSessionTasks)> handler) {
  const std::lock_guard lock(mutex_);
  post([this, handler = std::move(handler)] {
    URLSessionTasks tasks;
    for (const auto& entry : openTasks())
      tasks.dataTasks.push_back(entry.second);
    if (handler) handler(std::move(tasks));
  });
}

void CurlWorker::close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  if (!multi_ && open_.empty()) return;
  post([this] {
    for (const auto& entry : openTasks())
      abandon(entry.second);
  });
}

// Nothing can be wanted of a task that has ended, and its worker may be gone.
void CurlWorker::postForOpen(const CurlTask& task, Work work) {
  const std::lock_guard lock(mutex_);
  if (open_.contains(task.id)) post(std::move(work));
}

void CurlWorker::post(Work work) {
  inbox_.push_back(std::move(work));
  if (multi_) {
    curl_multi_wakeup(multi_);
    return;
  }
  CURLM* const multi = curl_multi_init();
  if (!multi) throw std::bad_alloc();
  multi_ = multi;
  try {
    withSignalsBlocked(
        [this] { std::thread([self = shared_from_this()] { self->run(); }).detach(); });
  } catch (...) {
    // The next one to post tries again.
    multi_ = nullptr;
    curl_multi_cleanup(multi);
    throw;
  }
}

CurlWorker::OpenTasks CurlWorker::openTasks() {
  const std::lock_guard lock(mutex_);
  return open_;
}

void CurlWorker::run() {
  for (;;) {
    runInbox();
    for (Ended& ended : advance())
      finish(*ended.task, std::move(ended.result));
    if (isDone()) break;
    curl_multi_poll(multi_, nullptr, 0, pollTimeout(), nullptr);
  }
  // Nobody posts any more, so nobody else looks at the handle.
  const CurlUse use;
  curl_multi_cleanup(multi_);
}

void CurlWorker::runInbox() {
  std::vector<Work> inbox;
  {
    const std::lock_guard lock(mutex_);
    inbox.swap(inbox_);
  }
  for (const Work& work : inbox)
    work();
}

void CurlWorker::begin(const std::shared_ptr<CurlTask>& task) {
  if (task->ended || task->transfer) return;
  if (ErrorPtr error = checkRequest(task->request)) return finish(*task, {{}, {}, error});
  std::optional<Ended> failed;
  {
    const CurlUse use;
    task->transfer = std::make_unique<CurlTransfer>(task->request, options_, configuration_);
    CURL* const handle = task->transfer->handle();
    running_.emplace(handle, task);
    CURLcode code = task->transfer->setUp();
    if (code == CURLE_OK && curl_multi_add_handle(multi_, handle)) code = CURLE_FAILED_INIT;
    if (code != CURLE_OK) failed = takeOut(handle, code);
  }
  if (failed) finish(*task, std::move(failed->result));
}

void CurlWorker::abandon(const std::shared_ptr<CurlTask>& task) {
  if (task->transfer) {
    const CurlUse use;
    takeOut(task->transfer->handle(), CURLE_ABORTED_BY_CALLBACK);
  }
  finish(*task, {{}, {}, urlError(NSURLErrorCancelled, task->request.url)});
}

// Its transfer is gone by now: a request that the completion starts finds the
// connection free.
void CurlWorker::finish(CurlTask& task, URLResult result) {
  if (std::exchange(task.ended, true)) return;
  {
    const std::lock_guard lock(mutex_);
    open_.erase(task.id);
  }
  const URLCompletion completion = std::exchange(task.completion, nullptr);
  if (completion) completion(std::move(result));
}

// Completions wait until all that has come is read: a slow one must not make the
// others look late.
std::vector<CurlWorker::Ended> CurlWorker::advance() {
  const CurlUse use;
  int count = 0;
  curl_multi_perform(multi_, &count);
  std::vector<Ended> ended;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &count)) {
    if (message->msg == CURLMSG_DONE) {
      ended.push_back(takeOut(message->easy_handle, message->data.result));
    }
  }
  const auto now = CurlTransfer::Clock::now();
  for (auto next = running_.begin(); next != running_.end();) {
    const auto& [handle, task] = *next++;
    if (task->transfer->deadline() <= now) {
      ended.push_back(takeOut(handle, CURLE_OPERATION_TIMEDOUT));
    }
  }
  return ended;
}

CurlWorker::Ended CurlWorker::takeOut(CURL* handle, CURLcode code) {
  std::shared_ptr<CurlTask> task = std::move(running_.extract(handle).mapped());
  URLResult result = task->transfer->takeResult(code);
  curl_multi_remove_handle(multi_, handle);
  task->transfer.reset();
  return {std::move(task), std::move(result)};
}

// Milliseconds until the next deadline.
int CurlWorker::pollTimeout() const {
  using std::chrono::milliseconds;
  constexpr milliseconds kLongest = std::chrono::hours(1);
  const auto now = CurlTransfer::Clock::now();
  milliseconds wait = kLongest;
  for (const auto& [handle, task] : running_) {
    const auto left = task->transfer->deadline() - now;
    wait =
        std::min(wait, std::chrono::ceil<milliseconds>(std::min<decltype(left)>(left, kLongest)));
  }
  return static_cast<int>(std::max(wait, milliseconds::zero()).count());
}

bool CurlWorker::isDone() {
  const std::lock_guard lock(mutex_);
  return closed_ && inbox_.empty() && open_.empty();
}

}  // namespace quillfold
