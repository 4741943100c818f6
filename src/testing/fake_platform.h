// A platform under the control of a test, for this library's tests and for those
// of hosts. Nothing happens by itself: queued work runs, and requests are
// answered, while the test calls settle().
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "adapters/asio/task_scheduler.h"
#include "foundation/export.h"
#include "platform/platform.h"
#include "testing/memory_contacts.h"

namespace quillfold::testing {

// Where code is running, as far as the library can tell.
enum class Place { Caller, MainQueue, GlobalQueue, Session };

// A clock that the test moves.
class QUILLFOLD_EXPORT FakeClock : public Clock {
 public:
  NSDate now() override { return NSDate::dateWithTimeIntervalSince1970(seconds); }
  std::atomic<double> seconds = 1'700'000'000;
};

// Both channels as lines, "LEVEL category: text" for the leveled one.
class QUILLFOLD_EXPORT RecordingLog : public LogSink {
 public:
  bool wantsPlain() const override { return !silent; }
  bool wants(LogLevel) const override { return !silent; }
  void plain(std::string_view line) override;
  void leveled(LogLevel level, std::string_view subsystem, std::string_view category,
               std::string_view line) override;

  std::vector<std::string> lines() const;
  std::size_t count(std::string_view line) const;
  bool contains(std::string_view line) const { return count(line) > 0; }
  void clear();
  // While set, no line is wanted, and none comes.
  std::atomic<bool> silent = false;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

class QUILLFOLD_EXPORT MemoryDefaults : public NSUserDefaults {
 public:
  std::optional<Value> objectForKey(std::string_view key) override;
  void setObject(Value value, std::string_view key) override;
  void removeObjectForKey(std::string_view key) override;
  bool synchronize() override;

  // How often it was asked to.
  std::atomic<int> synchronizations = 0;
  std::atomic<bool> synchronizeFails = false;
  // Called before each change; may raise.
  std::function<void()> beforeChange;

 private:
  std::mutex mutex_;
  Dictionary values_;
};

// Files in memory, with faults on demand.
class QUILLFOLD_EXPORT MemoryFiles : public FileManager {
 public:
  std::string applicationSupportDirectory() override { return "/support"; }
  bool fileExistsAtPath(const std::string& path) override;
  ErrorPtr createDirectoryAtPath(const std::string& path) override;
  std::optional<Data> contentsAtPath(const std::string& path) override;
  ErrorPtr replaceFileAtPath(const std::string& path, const std::string_view* pieces,
                             std::size_t count) override;
  ErrorPtr removeItemAtPath(const std::string& path) override;
  ErrorPtr synchronizeFileAtPath(const std::string&, bool moreToCome) override {
    const std::lock_guard lock(mutex_);
    journal += moreToCome ? 'S' : 's';
    return synchronizeError;
  }
  using FileManager::replaceFileAtPath;

  std::map<std::string, std::string> contents;
  std::vector<std::string> directories;
  int writes = 0;
  // What has been done, in its order: "w" for each write, and for each synchronization "s", or "S"
  // with more to come.
  std::string journal;
  // While set, these operations fail with it.
  ErrorPtr writeError, createError, removeError, synchronizeError;
  bool readFails = false;
  bool throwOnWrite = false;

 private:
  // Guards the journal: files are synchronized beside other work.
  std::mutex mutex_;
};

class QUILLFOLD_EXPORT FakeDevice : public DeviceData {
 public:
  std::string machine() override { return machineName; }
  std::string systemName() override { return "TestOS"; }
  std::string systemVersion() override { return version; }
  void setBatteryMonitoringEnabled(bool enabled) override { monitoring.push_back(enabled); }
  // Known while it is monitored.
  float batteryLevel() override;
  std::int64_t batteryState() override { return state; }
  std::optional<UIScreen> mainScreen() override { return screen; }
  NSBundle mainBundle() override { return bundle; }
  std::string localeIdentifier() override { return "en_US"; }
  std::string timeZoneName() override { return "Europe/Berlin"; }
  std::optional<std::uint64_t> physicalMemory() override { return memory; }
  std::optional<std::uint64_t> processorCount() override { return processors; }

  std::string machineName = "x86_64";
  std::string version = "7.1";
  float level = -1;
  std::int64_t state = UIDeviceBatteryStateUnknown;
  std::optional<UIScreen> screen;
  NSBundle bundle;
  std::optional<std::uint64_t> memory, processors;
  std::vector<bool> monitoring;
};

// Alerts that the test answers.
class QUILLFOLD_EXPORT FakeInterface : public UserInterface {
 public:
  void presentAlert(UIViewController& from, std::shared_ptr<UIAlertController> alert,
                    bool animated) override;
  bool canOpenURL(const std::string&) override { return opens; }
  void openURL(const std::string& url) override { opened.push_back(url); }

  std::vector<std::shared_ptr<UIAlertController>> alerts;
  UIViewController* presentedFrom = nullptr;
  bool wasAnimated = false;
  bool opens = true;
  std::vector<std::string> opened;
};

// Work that waits for settle().
class QUILLFOLD_EXPORT PumpedQueue : public MainQueue {
 public:
  explicit PumpedQueue(Place place) : place_(place) {}
  void async(Work work) override;
  // Runs one piece of work; returns whether there was one.
  bool runOne();

 private:
  const Place place_;
  std::mutex mutex_;
  std::deque<Work> work_;
};

// One request that waits for its answer.
class QUILLFOLD_EXPORT FakeTask : public NSURLSessionTask {
 public:
  FakeTask(NSMutableURLRequest request, URLCompletion completion, PumpedQueue& queue);

  void resume() override { resumed = true; }
  void cancel() override;

  // Ends the task; its completion runs at the next settle(). Later calls have no
  // effect.
  void answer(std::int64_t status, std::string body);
  void fail(std::int64_t code, std::string text);

  const NSMutableURLRequest& request() const { return request_; }
  // The path of the URL, with its query.
  std::string path() const;
  std::string header(const std::string& name) const;
  // The body as JSON; null if there is none.
  Value json() const;

  bool resumed = false;
  bool ended = false;

 private:
  void end(URLResult result);

  NSMutableURLRequest request_;
  URLCompletion completion_;
  PumpedQueue& queue_;
};

// The sessions of a test: every request is recorded, and answered by `respond` or
// by the test.
class QUILLFOLD_EXPORT FakeSessions : public URLSessionFactory {
 public:
  explicit FakeSessions(PumpedQueue& queue) : queue_(queue) {}
  std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration) override;

  // All tasks of all sessions, in the order in which they were made.
  std::vector<std::shared_ptr<FakeTask>> tasks;
  std::vector<NSURLSessionConfiguration> configurations;
  // Called once for each task that has been resumed; may leave it unanswered.
  std::function<void(FakeTask& task)> respond;

  // The last task to that path (without query), or null.
  std::shared_ptr<FakeTask> last(const std::string& path) const;
  std::size_t count(const std::string& path) const;
  // Offers resumed tasks to `respond`. Returns whether there were any.
  bool offer();

 private:
  PumpedQueue& queue_;
  std::size_t offered_ = 0;
};

class QUILLFOLD_EXPORT FakePlatform {
 public:
  // Installs a fresh platform, with another scheduler if one is given; once per process.
  explicit FakePlatform(std::shared_ptr<BGTaskScheduler> backgroundTasks = nullptr);

  // Runs queued work and offers requests until nothing is left to do.
  void settle();
  // Where the calling code runs.
  static Place place();

  // Lets every request of a healthy backend succeed: token, user info,
  // validation, registration and upload. `overrides` goes first and returns
  // whether it has answered.
  void serveBackend(std::function<bool(FakeTask& task)> overrides = {});

  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  std::shared_ptr<PumpedQueue> mainQueue = std::make_shared<PumpedQueue>(Place::MainQueue);
  std::shared_ptr<PumpedQueue> globalQueue = std::make_shared<PumpedQueue>(Place::GlobalQueue);
  std::shared_ptr<PumpedQueue> sessionQueue = std::make_shared<PumpedQueue>(Place::Session);
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  std::shared_ptr<MemoryDefaults> defaults = std::make_shared<MemoryDefaults>();
  std::shared_ptr<MemoryFiles> files = std::make_shared<MemoryFiles>();
  std::shared_ptr<FakeSessions> sessions = std::make_shared<FakeSessions>(*sessionQueue);
  std::shared_ptr<MemoryContacts> contacts = std::make_shared<MemoryContacts>(*globalQueue);
  std::shared_ptr<FakeDevice> device = std::make_shared<FakeDevice>();
  std::shared_ptr<NSNotificationCenter> notifications = std::make_shared<NSNotificationCenter>();
  std::shared_ptr<FakeInterface> interface = std::make_shared<FakeInterface>();
  // The real one; a test moves the clock and calls clockHasMoved.
  std::shared_ptr<std::atomic<bool>> networkIsUp = std::make_shared<std::atomic<bool>>(true);
  std::shared_ptr<LinuxTaskScheduler> scheduler = std::make_shared<LinuxTaskScheduler>(
      clock, TaskSchedulerOptions{[up = networkIsUp] { return up->load(); }});
};

}  // namespace quillfold::testing
