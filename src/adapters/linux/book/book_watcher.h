// The files of an address book, and word of their changes.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "adapters/vcard/book/book_files.h"

namespace quillfold {

// Watches from its construction to its destruction, on a thread of its own. The path may
// come into being, go and come back in between.
//
// A listing holds as long as no event has come: to ask that is one system call for the
// whole tree. What brings no events is asked one by one: files that are links or have
// several names, a path that leads through links, and folders with all their files that
// the system can't watch or that may change without it, as on the network. A folder alone
// does not tell that a file in it was written to.
//
// Only two changes are not seen at once: those through a memory mapping, until it is let
// go, and those through a name outside of the book that a file got after it was listed, or
// has lost since it was opened by it, until something else changes in the book.
class BookWatcher : public BookFiles {
 public:
  // `onChange` is called on that thread after the book's files have changed, once for
  // changes without a pause between them; it may destroy the watcher. Changes without an
  // event are found within three seconds. Where the system can't watch, the log says so; a
  // process that has no file descriptor left is not called at all.
  BookWatcher(const std::string& path, std::function<void()> onChange);
  // Waits for a call that is under way, unless it comes from there.
  ~BookWatcher() override;
  BookWatcher(const BookWatcher&) = delete;
  BookWatcher& operator=(const BookWatcher&) = delete;

  BookListing list() override;
  bool holds() override;
  FileContents read(const std::string& path) override;

 private:
  class Loop;
  std::shared_ptr<Loop> loop_;
  std::thread thread_;
};

}  // namespace quillfold
