// A file that is revised by changes of its twins.
#pragma once

#include <sys/stat.h>

#include <array>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "adapters/linux/file_descriptor.h"
#include "foundation/revised_bytes.h"

namespace quillfold {

// Lets two files trade their names in one step. Returns false with errno set, also where
// the file system can't.
using NameExchange = std::function<bool(const std::string& one, const std::string& other)>;
bool exchangeNames(const std::string& one, const std::string& other);

// The file at the path, to be read. Without waiting: the path may name a pipe that nobody writes.
// A file that becomes a spare just when it is opened may be refused for as long as it is written;
// its path names another one by then. Not open, with errno set, if that fails.
FileDescriptor openedWhole(const std::string& path, int flags = 0);

// The file at a path and two spares in its folder, ".NAME.spare" and ".NAME.spare1", each of
// which holds some revision. Into a spare is written what it lacks, and then it and the file
// trade names: so the path never names a file that is being written.
//
// Written into is only a file that this process has made and nobody has touched since, that
// has no second name, and that nobody has open; a lease keeps it so meanwhile. Otherwise a
// whole file is written and renamed onto the spare, and where names can't be traded, or
// another process is at the spares, onto the path.
//
// For a power cut one of the three stays as it was when it was last synchronised: at first
// the file, then the first spare, while the second one is worked with. A twin that is
// written into after that is spoilt on the disk before: what it may be there is older, and a
// rename may get to the disk without the rest. For the same reason a process synchronises
// the first file that it makes, since it doesn't know which one is to stay.
//
// Any thread. Operations return false with errno set.
class FileTwins {
 public:
  FileTwins(std::string path, NameExchange exchange);

  bool revise(const RevisedBytes& contents);
  // Waits until the file at the path, as it is now, is on the disk. With `moreToCome` the
  // spares are spoilt at once.
  bool synchronize(bool moreToCome);
  // Puts the first whole spare in the place of a file that is not whole. Returns whether the
  // file is whole now.
  bool restore(const std::function<bool(const std::string& path)>& isWhole) const;
  // Removes the file and all that is beside it.
  bool remove();

 private:
  using FileId = std::pair<dev_t, ino_t>;
  // A file that this process has written, as it was then. It stays open as long as more is to
  // come, and is locked only while it is worked with.
  struct Twin {
    FileDescriptor file;
    struct stat status {};
    // No revision while it is being written.
    RevisedBytes::Revision revision;
    // What it may be on the disk: anything, or a whole revision that is older than the one
    // that is kept, or surely nothing whole.
    enum class Disk { unknown, settled, spoilt } disk = Disk::unknown;
  };

  bool reviseSpare(const RevisedBytes& contents);
  bool update(Twin& twin, const std::string& spare, const RevisedBytes& contents);
  static int openedTwin(Twin& twin, const std::string& spare);
  static bool isAsLeft(const Twin& twin, const std::string& spare);
  static bool spoil(Twin& twin);
  void spoilSpares();
  bool replace(const std::string& spare, const RevisedBytes& contents);
  bool trade(const std::string& spare, int opened);
  void leaveToParent();
  bool isLost(const struct stat& status) const;
  std::shared_ptr<Twin> twinOf(const struct stat& status) const;
  bool keepInstead(int file, const std::string& name);
  bool keep(int file);
  bool isKept(const struct stat& status) const;

  const std::string path_;
  const std::array<std::string, 2> spares_;
  const NameExchange exchange_;

  // Guards what follows, also while files are written.
  std::mutex mutex_;
  std::vector<std::shared_ptr<Twin>> twins_;
  // The spare to be looked at first.
  std::size_t next_ = 0;
  // The file that was synchronised last.
  std::optional<FileId> kept_;
  // The one of which some may never get to the disk; open, so that no other one takes its number.
  FileDescriptor lost_;
  bool unsynchronized_ = false;
  // The process that has opened the twins.
  pid_t process_ = 0;
  // Names can't be traded here.
  bool plain_ = false;
};

}  // namespace quillfold
