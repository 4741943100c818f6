#include "adapters/linux/book/book_watcher.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include "adapters/linux/book/folder_events.h"
#include "foundation/signals.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

using Wake = FolderEvents::Wake;
using std::chrono::steady_clock;

// So long a pause ends a burst, and so long a burst is told even without one.
constexpr int kPauseMilliseconds = 100;
constexpr std::chrono::seconds kLongestBurst{2};

// How often landmarks are asked while nobody else asks.
constexpr std::chrono::seconds kPollInterval{3};

bool stand(const std::vector<Landmark>& landmarks) {
  return std::all_of(landmarks.begin(), landmarks.end(),
                     [](const Landmark& each) { return each.stands(); });
}

}  // namespace

// Both the thread and those who ask take the events, under the lock: so whoever asks after
// a change finds it either taken or still to be taken.
class BookWatcher::Loop {
 public:
  Loop(const std::string& path, std::function<void()> onChange)
      : events_(path), onChange_(std::move(onChange)), told_(events_.watch()) {}

  void run() {
    for (;;) {
      logComplaint();
      if (events_.wait(millisecondsToPoll()) == Wake::Stopped) return;
      if (!changedSinceSeen() && !pollFindsChange()) continue;
      if (waitForPause() == Wake::Stopped) return;
      compare();
    }
  }

  void stop() { events_.stop(); }

  BookListing list() {
    const std::lock_guard lock(mutex_);
    takeChanges();
    BookTree tree = events_.watch();
    landmarks_ = std::move(tree.landmarks);
    holds_ = tree.listing.failure.empty();
    return std::move(tree.listing);
  }

  bool holds() {
    const std::lock_guard lock(mutex_);
    takeChanges();
    if (holds_ && !stand(landmarks_)) noteChange();
    return holds_;
  }

 private:
  // With the lock held, as the next.
  void takeChanges() {
    if (events_.takeChanges()) noteChange();
  }

  void noteChange() {
    holds_ = false;
    ++changes_;
    // The events are taken, so they don't wake the thread any more.
    events_.wake();
  }

  bool changedSinceSeen() {
    const std::lock_guard lock(mutex_);
    takeChanges();
    return std::exchange(seen_, changes_) != changes_;
  }

  int millisecondsToPoll() const {
    using std::chrono::milliseconds;
    if (told_.landmarks.empty()) return -1;
    const auto left = std::chrono::ceil<milliseconds>(nextPoll_ - steady_clock::now());
    return static_cast<int>(std::max(left, milliseconds(0)).count());
  }

  bool pollFindsChange() {
    if (steady_clock::now() < nextPoll_) return false;
    nextPoll_ = steady_clock::now() + kPollInterval;
    return !stand(told_.landmarks);
  }

  // Ends with Timeout after a pause or a very long burst, or with Stopped.
  Wake waitForPause() {
    const steady_clock::time_point end = steady_clock::now() + kLongestBurst;
    while (steady_clock::now() < end) {
      const Wake wake = events_.wait(kPauseMilliseconds);
      if (wake != Wake::Woken) return wake;
      changedSinceSeen();
    }
    return Wake::Timeout;
  }

  void compare() {
    std::unique_lock lock(mutex_);
    BookTree tree = events_.watch();
    lock.unlock();
    const bool changed = tree.listing != told_.listing;
    told_ = std::move(tree);
    if (changed) onChange_();
  }

  void logComplaint() {
    std::unique_lock lock(mutex_);
    const std::string complaint = events_.takeComplaint();
    lock.unlock();
    if (!complaint.empty()) logLine("Address book: changes can't be watched: {}", complaint);
  }

  std::mutex mutex_;
  FolderEvents events_;
  // What the last listing is good for.
  std::vector<Landmark> landmarks_;
  bool holds_ = false;
  std::uint64_t changes_ = 0;

  // Of the thread alone.
  const std::function<void()> onChange_;
  std::uint64_t seen_ = 0;
  BookTree told_;
  steady_clock::time_point nextPoll_ = steady_clock::now() + kPollInterval;
};

BookWatcher::BookWatcher(const std::string& path, std::function<void()> onChange)
    : loop_(std::make_shared<Loop>(path, std::move(onChange))) {
  withSignalsBlocked([this] { thread_ = std::thread([loop = loop_] { loop->run(); }); });
}

BookWatcher::~BookWatcher() {
  loop_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

BookListing BookWatcher::list() {
  return loop_->list();
}

bool BookWatcher::holds() {
  return loop_->holds();
}

FileContents BookWatcher::read(const std::string& path) {
  return readBookFile(path);
}

}  // namespace quillfold
