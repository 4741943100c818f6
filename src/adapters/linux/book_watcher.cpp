#include "adapters/linux/book_watcher.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include "adapters/linux/folder_events.h"
#include "foundation/signals.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

using Wake = FolderEvents::Wake;
using std::chrono::steady_clock;

// So long a pause ends a burst, and so long a burst is told even without one.
constexpr int kPauseMilliseconds = 100;
constexpr std::chrono::seconds kLongestBurst{2};

}  // namespace

// Both the thread and those who ask take the events, under the lock: so whoever asks after
// a change finds it either taken or still to be taken.
class BookWatcher::Loop {
 public:
  Loop(const std::string& path, std::function<void()> onChange)
      : events_(path), onChange_(std::move(onChange)), told_(events_.watch().listing) {}

  void run() {
    for (;;) {
      logComplaint();
      const Wake wake = events_.wait(-1);
      if (wake == Wake::Stopped) return;
      if (!changedSinceSeen()) continue;
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
    const auto stands = [](const Landmark& landmark) { return landmark.stands(); };
    if (holds_ && !std::all_of(landmarks_.begin(), landmarks_.end(), stands)) noteChange();
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
    BookListing listing = events_.watch().listing;
    lock.unlock();
    if (listing == told_) return;
    told_ = std::move(listing);
    onChange_();
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
  BookListing told_;
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
