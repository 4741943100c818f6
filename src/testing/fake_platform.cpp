#include "testing/fake_platform.h"

#include <algorithm>
#include <stdexcept>

#include "foundation/format.h"
#include "foundation/json.h"

namespace quillfold::testing {

namespace {

thread_local Place currentPlace = Place::Caller;

std::string withoutQuery(const std::string& path) {
  return path.substr(0, path.find('?'));
}

std::string backendAnswer(const FakeTask& task, double now) {
  const std::string path = withoutQuery(task.path());
  if (path.ends_with("/generate-token")) {
    return fmt::format(R"({{"data":{{"token":"T","expires_at":{}}}}})", now + 3600);
  }
  if (path.ends_with("/user-info")) return R"({"organization_id":"ORG"})";
  if (path.ends_with("/validate-key")) return R"({"status":"success","data":{"valid":true}})";
  if (path.ends_with("/contact-source")) return R"({"data":{"id":"SRC","source_type":"device"}})";
  if (path.ends_with("/contacts/sync")) {
    return fmt::format(R"({{"data":{{"processed_count":{}}}}})",
                       find(*task.json().asDictionary(), "contacts")->asArray()->size());
  }
  return "";
}

class FakeSession : public NSURLSession {
 public:
  FakeSession(FakeSessions& sessions, PumpedQueue& queue) : sessions_(sessions), queue_(queue) {}

  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest request,
                                                        URLCompletion completion) override {
    auto task = std::make_shared<FakeTask>(std::move(request), std::move(completion), queue_);
    tasks_.push_back(task);
    sessions_.tasks.push_back(task);
    return task;
  }

  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) override {
    queue_.async([tasks = tasks_, handler = std::move(handler)] {
      URLSessionTasks running;
      for (const auto& task : tasks) {
        if (!task->ended) running.dataTasks.push_back(task);
      }
      handler(running);
    });
  }

 private:
  FakeSessions& sessions_;
  PumpedQueue& queue_;
  std::vector<std::shared_ptr<FakeTask>> tasks_;
};

}  // namespace

void RecordingLog::plain(std::string_view line) {
  const std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
}

void RecordingLog::leveled(LogLevel level, std::string_view, std::string_view category,
                           std::string_view line) {
  static constexpr const char* kNames[] = {"debug", "info", "warning", "error"};
  plain(fmt::format("{} {}: {}", kNames[static_cast<int>(level)], category, line));
}

std::vector<std::string> RecordingLog::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::size_t RecordingLog::count(std::string_view line) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
}

void RecordingLog::clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}

std::optional<Value> MemoryDefaults::objectForKey(std::string_view key) {
  const std::lock_guard lock(mutex_);
  const Value* value = find(values_, key);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

void MemoryDefaults::setObject(Value value, std::string_view key) {
  if (beforeChange) beforeChange();
  const std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
}

void MemoryDefaults::removeObjectForKey(std::string_view key) {
  if (beforeChange) beforeChange();
  const std::lock_guard lock(mutex_);
  values_.erase(std::string(key));
}

bool MemoryDefaults::synchronize() {
  ++synchronizations;
  return !synchronizeFails;
}

float FakeDevice::batteryLevel() {
  return !monitoring.empty() && monitoring.back() ? level : -1;
}

bool MemoryFiles::fileExistsAtPath(const std::string& path) {
  return contents.contains(path) ||
         std::find(directories.begin(), directories.end(), path) != directories.end();
}

ErrorPtr MemoryFiles::createDirectoryAtPath(const std::string& path) {
  if (!createError) directories.push_back(path);
  return createError;
}

std::optional<Data> MemoryFiles::contentsAtPath(const std::string& path) {
  const auto it = contents.find(path);
  if (readFails || it == contents.end()) return std::nullopt;
  return Data(it->second);
}

ErrorPtr MemoryFiles::replaceFileAtPath(const std::string& path, const std::string_view* pieces,
                                        std::size_t count) {
  if (throwOnWrite) throw NSException(NSInvalidArgumentException, "no room");
  if (writeError) return writeError;
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i)
    bytes += pieces[i];
  contents[path] = std::move(bytes);
  ++writes;
  const std::lock_guard lock(mutex_);
  journal += 'w';
  return nullptr;
}

ErrorPtr MemoryFiles::removeItemAtPath(const std::string& path) {
  if (!removeError) contents.erase(path);
  return removeError;
}

void PumpedQueue::async(Work work) {
  const std::lock_guard lock(mutex_);
  work_.push_back(std::move(work));
}

bool PumpedQueue::runOne() {
  Work work;
  {
    const std::lock_guard lock(mutex_);
    if (work_.empty()) return false;
    work = std::move(work_.front());
    work_.pop_front();
  }
  struct Stay {
    ~Stay() { currentPlace = outer; }
    const Place outer;
  } const stay{std::exchange(currentPlace, place_)};
  // Moved: what the work holds is let go here as well.
  std::exchange(work, nullptr)();
  return true;
}

FakeTask::FakeTask(NSMutableURLRequest request, URLCompletion completion, PumpedQueue& queue)
    : request_(std::move(request)), completion_(std::move(completion)), queue_(queue) {}

void FakeTask::cancel() {
  fail(NSURLErrorCancelled, "cancelled");
}

void FakeTask::answer(std::int64_t status, std::string body) {
  end({Data(std::move(body)), NSHTTPURLResponse{status}, nullptr});
}

void FakeTask::fail(std::int64_t code, std::string text) {
  end({Data(), std::nullopt,
       NSError::errorWithDomain(NSURLErrorDomain, code,
                                {{NSLocalizedDescriptionKey, std::move(text)}})});
}

void FakeTask::end(URLResult result) {
  if (std::exchange(ended, true)) return;
  queue_.async(
      [completion = std::move(completion_), result = std::move(result)] { completion(result); });
}

std::string FakeTask::path() const {
  const auto start = request_.url.find('/', request_.url.find("://") + 3);
  return start == std::string::npos ? "" : request_.url.substr(start);
}

std::string FakeTask::header(const std::string& name) const {
  for (const auto& [field, value] : request_.headers) {
    if (field == name) return value;
  }
  return "";
}

Value FakeTask::json() const {
  if (!request_.httpBody) return nullptr;
  return NSJSONSerialization::JSONObjectWithData(request_.httpBody->bytes()).value_or(nullptr);
}

std::shared_ptr<NSURLSession> FakeSessions::sessionWithConfiguration(
    const NSURLSessionConfiguration& configuration) {
  configurations.push_back(configuration);
  return std::make_shared<FakeSession>(*this, queue_);
}

std::shared_ptr<FakeTask> FakeSessions::last(const std::string& path) const {
  for (auto it = tasks.rbegin(); it != tasks.rend(); ++it) {
    if (withoutQuery((*it)->path()) == path) return *it;
  }
  return nullptr;
}

std::size_t FakeSessions::count(const std::string& path) const {
  return static_cast<std::size_t>(
      std::count_if(tasks.begin(), tasks.end(),
                    [&path](const auto& task) { return withoutQuery(task->path()) == path; }));
}

bool FakeSessions::offer() {
  bool any = false;
  while (offered_ < tasks.size() && tasks[offered_]->resumed) {
    const auto task = tasks[offered_++];
    any = true;
    if (respond && !task->ended) respond(*task);
  }
  return any;
}

void FakeInterface::presentAlert(UIViewController& from, std::shared_ptr<UIAlertController> alert,
                                 bool animated) {
  alerts.push_back(std::move(alert));
  presentedFrom = &from;
  wasAnimated = animated;
}

FakePlatform::FakePlatform(std::shared_ptr<BGTaskScheduler> backgroundTasks) {
  if (!backgroundTasks) backgroundTasks = scheduler;
  const bool installed =
      Platform::install({clock, mainQueue, globalQueue, log, defaults, files, sessions, contacts,
                         device, notifications, std::move(backgroundTasks), interface});
  if (!installed) throw std::logic_error("A platform is in use already.");
}

Place FakePlatform::place() {
  return currentPlace;
}

void FakePlatform::settle() {
  while (sessions->offer() || sessionQueue->runOne() || globalQueue->runOne() ||
         mainQueue->runOne()) {
  }
}

void FakePlatform::serveBackend(std::function<bool(FakeTask&)> overrides) {
  sessions->respond = [this, overrides = std::move(overrides)](FakeTask& task) {
    if (overrides && overrides(task)) return;
    const std::string body = backendAnswer(task, clock->seconds);
    if (!task.ended) task.answer(body.empty() ? 404 : 200, body);
  };
}

}  // namespace quillfold::testing
