// The system's events about the folders of an address book.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "adapters/vcard/book/book_files.h"

namespace quillfold {

// Used from one thread, but for `stop`.
class FolderEvents {
 public:
  enum class Wake { Changed, Other, Timeout, Stopped };

  explicit FolderEvents(const std::string& path);
  ~FolderEvents();
  FolderEvents(const FolderEvents&) = delete;
  FolderEvents& operator=(const FolderEvents&) = delete;

  // Watches the folders that there are now, the ones on the way to the book included,
  // and lists the book. What changes after that wakes a later wait.
  BookListing watch();

  // Waits up to so many milliseconds, or without end for -1. Changed: the book may have
  // changed. Other: something beside it has.
  Wake wait(int milliseconds);

  // Ends a wait and all later ones. May be called from any thread.
  void stop();

 private:
  void add(const std::string& folder, std::uint32_t mask, const std::string& name);
  bool readEvents();
  bool concernsBook(int watch, std::uint32_t mask, const std::string& name);

  const std::string path_;
  const int events_;
  const int stopped_;
  bool complained_ = false;
  // The only name that matters in a folder on the way to the book; "" within it.
  std::map<int, std::string> names_;
};

}  // namespace quillfold
