// The system's events about the folders of an address book.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "adapters/linux/book/book_tree.h"
#include "adapters/linux/file_descriptor.h"

namespace quillfold {

// Events are there as soon as the call that made the change has returned, also in another
// process. Used from one thread at a time, but for `wait`, `wake` and `stop`.
class FolderEvents {
 public:
  enum class Wake { Woken, Timeout, Stopped };

  explicit FolderEvents(const std::string& path);

  // Watches the folders that there are now, the ones on the way to the book included,
  // and reads the tree. What moves meanwhile is listed where it has come to; if that has no
  // end, reading has failed. What changes after the call has begun makes takeChanges return
  // true, unless it is told by a landmark.
  BookTree watch();

  // Takes what has come. Returns whether the book may have changed.
  bool takeChanges();

  // Why something can't be watched, once: a text for people, or "".
  std::string takeComplaint();

  // Waits up to so many milliseconds, or without end for -1, for events that nobody has
  // taken or for `wake`.
  Wake wait(int milliseconds);

  void wake();
  // Ends a wait and all later ones.
  void stop();

 private:
  bool watchWay();
  bool add(const std::string& folder, std::uint32_t mask, const std::string& name);
  void removeWatchesBefore(std::uint64_t pass);
  bool takeEvents();
  bool concernsBook(int watch, std::uint32_t mask, const std::string& name);
  void noteWrite(const std::string& path);
  // Gives each file its last write, and forgets those of files that are gone.
  void addWrites(BookListing& listing);

  struct Watch {
    std::string folder;
    // The only name that matters in a folder on the way to the book; "" within it.
    std::string name;
    std::uint64_t pass = 0;  // The last one that met the folder.
  };

  const std::string path_;
  const FileDescriptor signal_;
  const FileDescriptor events_;
  const FileDescriptor mounts_;
  const FileDescriptor awaitedMounts_;  // Whoever polls takes what has come.
  std::atomic<bool> stopped_ = false;
  std::map<int, Watch> watches_;
  std::uint64_t pass_ = 0;
  std::map<std::string, std::uint64_t> writes_;  // The last one by path, counted over all.
  std::uint64_t lastWrite_ = 0;
  std::uint64_t lostWrites_ = 0;  // A write to every file, as nobody knows to which.
  std::set<std::string> moved_;   // Where something has come or gone, of late.
  bool changed_ = false;          // While the tree was read.
  bool complained_ = false;
  std::string complaint_;
};

}  // namespace quillfold
