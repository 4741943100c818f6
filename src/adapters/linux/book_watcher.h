// Tells when the files of an address book change.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace quillfold {

// Watches from its construction to its destruction, on a thread of its own. The path may
// come into being, go and come back in between.
class BookWatcher {
 public:
  // `onChange` is called on that thread after the book's files have changed, once for
  // changes without a pause between them; it may destroy the watcher. Where the system
  // can't watch, the log says so and nothing is called.
  BookWatcher(const std::string& path, std::function<void()> onChange);
  // Waits for a call that is under way, unless it comes from there.
  ~BookWatcher();
  BookWatcher(const BookWatcher&) = delete;
  BookWatcher& operator=(const BookWatcher&) = delete;

 private:
  class Loop;
  std::shared_ptr<Loop> loop_;
  std::thread thread_;
};

}  // namespace quillfold
