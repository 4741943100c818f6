// A file that is revised by changes of its twins.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "adapters/linux/locked_file.h"
#include "foundation/revised_bytes.h"

namespace quillfold {

class TemporaryFile;

// Lets two files trade their names in one step. Returns false with errno set, also where
// the file system can't.
using NameExchange = std::function<bool(const std::string& one, const std::string& other)>;
bool exchangeNames(const std::string& one, const std::string& other);

// The file at a path and two more in its folder, ".NAME.spare" and ".NAME.spare1", each of
// which holds some revision. A revision is written into a spare, as far as it differs from
// what that holds, and then the spare and the file trade names: the path never names a file
// that is being written.
//
// Changed in place is only a file that this process has written and nobody touched since,
// that has no other name, and that nobody has open: a lease keeps it so for that time. In
// all other cases a whole file is written and renamed onto the spare. Where names can't be
// traded, or another process is at the spares, a whole file is renamed onto the path.
//
// Against a power cut one of the three is kept as it was at the last `synchronize`; while it
// is the first spare, the second one is worked on. A file that is revised after a
// `synchronize` is first spoilt on the disk: what it may hold there is older than the kept
// one, and without its revised parts must not pass for a file.
//
// Any thread. Operations return false with errno set.
class FileTwins {
 public:
  FileTwins(std::string path, NameExchange exchange);

  bool revise(const RevisedBytes& contents);
  // Waits until the file at the path is on the disk, and becomes the kept one.
  bool synchronize();
  // Puts the first whole spare in the place of a file that is not whole. Returns whether it
  // did.
  bool restore(const std::function<bool(const std::string& path)>& isWhole) const;
  static bool removeSpares(const std::string& path);

 private:
  struct FileId {
    dev_t device;
    ino_t inode;
  };
  // A file that this process has written, as it was then.
  struct Twin {
    FileId id;
    off_t size;
    timespec modified;
    RevisedBytes::Revision revision;
    // Whether it may be whole on the disk and older than the kept one.
    bool settled;
  };

  bool reviseSpare(const RevisedBytes& contents);
  bool update(const LockedFile& spare, const RevisedBytes& contents);
  bool writeFresh(TemporaryFile& file, const std::string& spare, const RevisedBytes& contents);
  bool trade(const std::string& spare);
  std::vector<Twin>::iterator twinOf(const struct stat& status);
  bool remember(int file, const RevisedBytes::Revision& revision);
  bool isKept(const std::string& name) const;

  const std::string path_;
  const NameExchange exchange_;

  // Guards what follows, also while files are written.
  std::mutex mutex_;
  std::vector<Twin> twins_;
  std::optional<FileId> kept_;
  bool unsynchronized_ = false;
  // Names can't be traded here.
  bool plain_ = false;
};

}  // namespace quillfold
