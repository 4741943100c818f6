#include "platform/platform.h"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace quillfold {

[[gnu::weak]] Platform defaultPlatform();

namespace {

std::once_flag chosen;
// Never destroyed, so that work on other threads may outlast main.
const Platform* platform = nullptr;
std::atomic<std::thread::id> mainQueueThread;

}  // namespace

bool Platform::install(Platform replacement) {
  bool installed = false;
  std::call_once(chosen, [&] {
    platform = new Platform(std::move(replacement));
    mainQueueThread = std::this_thread::get_id();
    installed = true;
  });
  return installed;
}

const Platform& Platform::current() {
  std::call_once(chosen, [] {
    if (&defaultPlatform == nullptr) throw std::logic_error("No platform is installed");
    platform = new Platform(defaultPlatform());
  });
  return *platform;
}

NSDate currentDate() {
  return Platform::current().clock->now();
}
double currentTime() {
  return currentDate().timeIntervalSince1970();
}

void dispatchMain(Work work) {
  Platform::current().mainQueue->async([work = std::move(work)] {
    mainQueueThread = std::this_thread::get_id();
    work();
  });
}
bool isMainQueueThread() {
  return mainQueueThread == std::this_thread::get_id();
}
void dispatchGlobal(Work work) {
  Platform::current().globalQueue->async(std::move(work));
}

std::shared_ptr<NSURLSession> NSURLSession::sessionWithConfiguration(
    const NSURLSessionConfiguration& configuration) {
  return Platform::current().urlSessions->sessionWithConfiguration(configuration);
}

NSUserDefaults& NSUserDefaults::standardUserDefaults() {
  return *Platform::current().userDefaults;
}

std::shared_ptr<NSNotificationCenter> NSNotificationCenter::defaultCenter() {
  return Platform::current().notifications;
}

BGTaskScheduler& BGTaskScheduler::sharedScheduler() {
  return *Platform::current().backgroundTasks;
}

std::shared_ptr<CNContactStore> CNContactStore::create() {
  return Platform::current().contacts->makeStore();
}

std::int64_t CNContactStore::authorizationStatusForEntityType(std::int64_t) {
  return Platform::current().contacts->authorizationStatus();
}

}  // namespace quillfold
