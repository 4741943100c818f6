#include "adapters/linux/book_watcher.h"

#include <chrono>

#include "adapters/linux/folder_events.h"
#include "foundation/signals.h"

namespace quillfold {

namespace {

using Wake = FolderEvents::Wake;
using std::chrono::steady_clock;

// So long a pause ends a burst, and so long a burst is told even without one.
constexpr int kPauseMilliseconds = 100;
constexpr std::chrono::seconds kLongestBurst{2};

}  // namespace

class BookWatcher::Loop {
 public:
  Loop(const std::string& path, std::function<void()> onChange)
      : events_(path), onChange_(std::move(onChange)), listing_(events_.watch()) {}

  void run() {
    for (;;) {
      Wake wake = events_.wait(-1);
      if (wake == Wake::Changed) wake = waitForPause();
      if (wake == Wake::Stopped) return;
      if (wake == Wake::Timeout) compare();
    }
  }

  void stop() { events_.stop(); }

 private:
  // Ends with Timeout after a pause or a very long burst, or with Stopped.
  Wake waitForPause() {
    const steady_clock::time_point end = steady_clock::now() + kLongestBurst;
    while (steady_clock::now() < end) {
      const Wake wake = events_.wait(kPauseMilliseconds);
      if (wake == Wake::Timeout || wake == Wake::Stopped) return wake;
    }
    return Wake::Timeout;
  }

  void compare() {
    BookListing listing = events_.watch();
    if (listing == listing_) return;
    listing_ = std::move(listing);
    onChange_();
  }

  FolderEvents events_;
  const std::function<void()> onChange_;
  BookListing listing_;
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

}  // namespace quillfold
